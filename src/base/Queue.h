#pragma once

#include <functional>
#include <string>

#include "base/TaskToken.h"
#include "base/Time.h"

namespace sonmere {

using Task = std::function<void()>;

// Runs tasks. A serial queue (the main queue is one) runs them one at a time, in the order they were posted;
// the global queue may run several at once. Threads: any but a render thread.
class Queue {
 public:
  virtual ~Queue() = default;

  virtual void post(Task task) = 0;
  // Runs the task once, no earlier than `delay` from now.
  virtual TaskToken postAfter(Duration delay, Task task) = 0;
  // Runs the task every `interval`, first after one interval, until cancelled. A run that is late does not
  // make the next ones come in a burst.
  virtual TaskToken repeat(Duration interval, Task task) = 0;
  // Whether the caller runs on this queue now.
  virtual bool isCurrent() const = 0;
  virtual const std::string& label() const = 0;
};

}  // namespace sonmere
