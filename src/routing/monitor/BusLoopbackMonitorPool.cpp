#include "routing/monitor/BusLoopbackMonitorPool.h"

#include "base/ThreadRules.h"

namespace sonmere {

BusLoopbackMonitorPool::BusLoopbackMonitorPool(EngineContext& context) : context_(context) {}

BusLoopbackMonitorPool::~BusLoopbackMonitorPool() {
  if (isRunning_) context_.monitors.offer(MonitorPlace::tracks, {});
}

void BusLoopbackMonitorPool::start() {
  assertMain();
  isRunning_ = true;
  std::vector<std::shared_ptr<MonitorSource>> sources;
  for (int track = 1; track <= kTracks; ++track) {
    auto& made = monitors_[std::size_t(track - 1)];
    made = std::make_unique<BusLoopbackMonitor>(context_, track);
    sources.push_back(made->source());
  }
  context_.monitors.offer(MonitorPlace::tracks, std::move(sources));
  registration_ = context_.routes.add(*this);
  update();
}

void BusLoopbackMonitorPool::update() {
  assertMain();
  if (!isRunning_) return;
  for (int track = 1; track <= kTracks; ++track) {
    BusLoopbackMonitor& monitor = *monitors_[std::size_t(track - 1)];
    if (const auto gain = wanted(track)) monitor.source()->gain = *gain;
    isWanted(track) ? monitor.start() : monitor.stop();
  }
}

void BusLoopbackMonitorPool::serverLost() {
  assertMain();
  for (const auto& each : monitors_) each->forget();
}

void BusLoopbackMonitorPool::revalidate(RevalidationReason) {
  assertMain();
  for (const auto& each : monitors_) each->nudge();
}

RouteHealthEntry BusLoopbackMonitorPool::health() const {
  RouteHealthEntry entry{"loopback", "Monitor of Tracks", RouteHealthVerdict::inactive, ""};
  for (int track = 1; track <= kTracks; ++track) {
    if (!isWanted(track)) continue;
    const bool runs = monitors_[std::size_t(track - 1)]->isRunning();
    if (!runs || entry.verdict == RouteHealthVerdict::inactive)
      entry.verdict = runs ? RouteHealthVerdict::healthy : RouteHealthVerdict::broken;
  }
  return entry;
}

}  // namespace sonmere
