#pragma once

#include <memory>
#include <vector>

#include "base/Lifetime.h"
#include "base/Runtime.h"
#include "recording/Recorder.h"

namespace sonmere {

// Stops of recorders that have not completed their files yet, and who waits for the last of them. Main
// thread; destroyed, it tells nobody.
class RecorderStops {
 public:
  explicit RecorderStops(Runtime& runtime) : runtime_(runtime) {}

  // `done` is told once the file is complete.
  void stop(const std::shared_ptr<Recorder>& recorder, Task done);
  bool isAny() const { return underWay_ > 0; }
  // Calls `done` later, when none is under way.
  void whenNone(Task done);

 private:
  void tellIfNone();

  Runtime& runtime_;
  int underWay_ = 0;
  std::vector<Task> waiting_;
  Lifetime lifetime_;
};

}  // namespace sonmere
