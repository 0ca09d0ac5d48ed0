#include "control/TopicFeed.h"

namespace sonmere {

ControlJSON TopicFeed::subscribe(const TopicSet& topics) {
  ControlJSON snapshot = ControlJSON::object();
  for (const Topic topic : topics) {
    const auto& state = told_[topic] = states_.look(topic);
    snapshot[name(topic)] = {{"version", state->version}, {"value", state->value}};
  }
  return {{"topics", snapshot}};
}

void TopicFeed::unsubscribe(const TopicSet& topics) {
  for (const Topic topic : topics) told_.erase(topic);
}

std::string TopicFeed::takeChanges() {
  std::string text;
  for (auto& [topic, told] : told_) {
    const auto newest = states_.known(topic);
    if (newest == told) continue;
    text += controlNotification("changed", {{"topic", name(topic)},
                                            {"from", told->version},
                                            {"version", newest->version},
                                            {"patch", mergePatch(told->value, newest->value)}});
    told = newest;
  }
  return text;
}

}  // namespace sonmere
