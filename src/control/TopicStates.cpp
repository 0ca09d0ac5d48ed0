#include "control/TopicStates.h"

namespace sonmere {

TopicStates::Shared TopicStates::look(Topic topic) {
  Shared& state = states_[topic];
  TopicJSON value = topicValue(topic, control_);
  if (state && state->value == value) return state;
  state = std::make_shared<State>(State{state ? state->version + 1 : 1, std::move(value)});
  return state;
}

TopicStates::Shared TopicStates::known(Topic topic) const {
  const auto found = states_.find(topic);
  return found == states_.end() ? nullptr : found->second;
}

}  // namespace sonmere
