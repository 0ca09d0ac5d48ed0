#pragma once

#include <map>
#include <memory>

#include "control/TopicValues.h"

namespace sonmere {

// The newest known value of each topic, shared by all who were told it. Main thread; the façade outlives it.
class TopicStates {
 public:
  struct State {
    std::int64_t version = 0;  // rises with each change of the value
    TopicJSON value;
  };
  using Shared = std::shared_ptr<const State>;

  explicit TopicStates(Control& control) : control_(control) {}

  // Looks at the engines. The same state as before when nothing has changed.
  Shared look(Topic topic);
  // As it was when last looked at, or nothing before.
  Shared known(Topic topic) const;

 private:
  Control& control_;
  std::map<Topic, Shared> states_;
};

}  // namespace sonmere
