#pragma once

#include <map>
#include <string>

#include "control/ControlMessage.h"
#include "control/TopicStates.h"

namespace sonmere {

// What one client subscribed to, and what it was last told: it is brought from there to the newest state,
// however many it missed. Main thread; the states outlive it.
class TopicFeed {
 public:
  explicit TopicFeed(TopicStates& states) : states_(states) {}

  // The topics' present values by name, with their versions; the client counts as told.
  ControlJSON subscribe(const TopicSet& topics);
  void unsubscribe(const TopicSet& topics);
  bool isSubscribed(Topic topic) const { return told_.contains(topic); }

  // The notifications that the client misses; it counts as told. Empty when it knows all.
  std::string takeChanges();

 private:
  TopicStates& states_;
  std::map<Topic, TopicStates::Shared> told_;
};

}  // namespace sonmere
