#include "editor/BackgroundWork.h"

#include <utility>

namespace sonmere {

namespace {
constexpr Duration kProgressInterval = fromMilliseconds(100);
}  // namespace

void BackgroundWork::start(Work work, Done done) {
  done_ = std::move(done);
  running_ = std::make_shared<ExportProgress>(runtime_);
  progress.set(0);
  isRunning.set(true);
  progressTimer_ =
      runtime_.mainQueue().repeat(kProgressInterval, [this] { progress.set(running_->fraction()); });
  runtime_.globalQueue().post(
      [&runtime = runtime_, running = running_, weak = std::weak_ptr(self_), work = std::move(work)] {
        const auto result = work(*running);
        runtime.mainQueue().post([weak, result] {
          if (const auto self = weak.lock()) (*self)->finished(result);
        });
      });
}

void BackgroundWork::cancel() {
  if (running_) running_->cancel();
}

std::optional<Duration> BackgroundWork::timeLeft() const {
  return running_ ? running_->timeLeft() : std::nullopt;
}

void BackgroundWork::finished(const Outcome<void>& result) {
  progressTimer_.cancel();
  const auto ended = std::exchange(running_, nullptr);
  // Whoever sees isRunning fall may start the next work, with a `done` of its own.
  const Done done = std::exchange(done_, nullptr);
  if (result) progress.set(1);
  isRunning.set(false);
  done(result, *ended);
}

}  // namespace sonmere
