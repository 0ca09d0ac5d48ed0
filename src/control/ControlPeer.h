#pragma once

#include <optional>
#include <string>

#include "base/Time.h"
#include "control/ControlMessage.h"
#include "control/Topic.h"

namespace sonmere {

// The client that a method was called by, for methods that concern it alone. Main thread.
class ControlPeer {
 public:
  virtual ~ControlPeer() = default;

  // The present values of the topics; their changes from now on.
  virtual ControlJSON subscribe(const TopicSet& topics) = 0;
  virtual void unsubscribe(const TopicSet& topics) = 0;
  // Meters so often from now on, or no longer; with the spectrum of this, if it is not empty.
  virtual void watch(std::optional<Duration> interval, const std::string& spectrum) = 0;
};

}  // namespace sonmere
