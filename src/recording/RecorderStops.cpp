#include "recording/RecorderStops.h"

#include <utility>

namespace sonmere {

void RecorderStops::stop(const std::shared_ptr<Recorder>& recorder, Task done) {
  ++underWay_;
  recorder->stop(lifetime_.guard([this, recorder, done = std::move(done)] {
    const auto life = lifetime_.witness();
    --underWay_;
    done();
    if (!life.isOver()) tellIfNone();
  }));
}

void RecorderStops::tellIfNone() {
  if (underWay_ > 0) return;
  for (const Task& task : std::exchange(waiting_, {})) task();
}

void RecorderStops::whenNone(Task done) {
  if (underWay_ > 0) return waiting_.push_back(std::move(done));
  runtime_.mainQueue().post(lifetime_.guard(std::move(done)));
}

}  // namespace sonmere
