#include "audio/engine/RenderWatchdog.h"

#include <algorithm>
#include <utility>

namespace sonmere {

namespace {

constexpr Duration kInterval = std::chrono::seconds(1);
// A unit that has not rendered for this long is stuck: no device has blocks as long.
constexpr std::uint64_t kStalledNs = 2'000'000'000;
// Restarts that don't help come at twice the distance each, up to a minute.
constexpr std::uint64_t kFirstRestartDistanceNs = 2'000'000'000;
constexpr int kMostDoublings = 5;

}  // namespace

void RenderWatchdog::watch(std::shared_ptr<RenderContext> context) {
  context_ = std::move(context);
  context_->lastRenderHostTime = clock_.hostTime();
  watchedRenderTime_ = context_->lastRenderHostTime;
  looking_ = runtime_.mainQueue().repeat(kInterval, [this] { look(); });
}

void RenderWatchdog::pause() {
  looking_.cancel();
  context_.reset();
}

// Stuck only if two looks in a row find the same late render: after a stop of the whole process the first
// look may come before the unit's next block.
void RenderWatchdog::look() {
  const std::uint64_t now = clock_.hostTime();
  const std::uint64_t rendered = context_->lastRenderHostTime;
  const bool hasMoved = std::exchange(watchedRenderTime_, rendered) != rendered;
  if (hasMoved || now < rendered + kStalledNs) {
    if (hasMoved) consecutiveRestarts_ = 0;
    return;
  }
  if (consecutiveRestarts_ > 0 && now < nextRestartAt_) return;
  nextRestartAt_ = now + (kFirstRestartDistanceNs << std::min(consecutiveRestarts_, kMostDoublings));
  ++consecutiveRestarts_;
  stalled(double(now - rendered) / 1e9, consecutiveRestarts_);
}

}  // namespace sonmere
