#include "recording/RecorderStops.h"

#include <utility>

namespace sonmere {

void RecorderStops::stop(const std::shared_ptr<Recorder>& recorder, Task done) {
  ++underWay_;
  recorder->stop([this, alive = std::weak_ptr(alive_), recorder, done = std::move(done)] {
    if (alive.expired()) return;
    --underWay_;
    done();
    if (!alive.expired()) tellIfNone();
  });
}

void RecorderStops::tellIfNone() {
  if (underWay_ > 0) return;
  for (const Task& task : std::exchange(waiting_, {})) task();
}

void RecorderStops::whenNone(Task done) {
  if (underWay_ > 0) return waiting_.push_back(std::move(done));
  runtime_.mainQueue().post([alive = std::weak_ptr(alive_), done = std::move(done)] {
    if (!alive.expired()) done();
  });
}

}  // namespace sonmere
