#include "routing/CatchAllTap.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/AudioBuffers.h"
#include "base/RealtimeScope.h"
#include "base/UUID.h"
#include "dsp/Level.h"
#include "dsp/VectorMath.h"

namespace sonmere {

CatchAllTap::CatchAllTap(RoutingCore& core) : core_(core) {
  core_.context.monitors.offer(MonitorPlace::systemAudio,
                               {std::shared_ptr<MonitorSource>(state_, &state_->source)});
}

CatchAllTap::~CatchAllTap() {
  stop();
  core_.context.monitors.offer(MonitorPlace::systemAudio, {});
}

OSStatus CatchAllTap::capture(void* state, const AudioTimeStamp&, AudioBufferList input,
                              AudioBufferList output) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& self = *static_cast<State*>(state);
  silence(output);
  const AudioBuffer* buffer = firstFilled(input);
  if (!buffer || !self.source.isEnabled()) return noErr;
  const std::int64_t n = buffer->byteSize / 4;
  self.level = meterLevel(std::sqrt(sumOfSquares(buffer->data, std::size_t(n)) / float(n)));
  if (StereoRing* const ring = self.source.ring()) ring->writer.write(buffer->data, n);
  return noErr;
}

TapAggregatePlan CatchAllTap::plan() const {
  TapAggregatePlan plan;
  plan.tap = {.name = "Sonmere Mix Mode System Catch-All",
              .processes = lastCatchAllExcludes_,
              .isPrivate = true,
              .exclusive = true,
              .mute = TapMute::muted};
  plan.aggregateUID = "Sonmere_MixModeCatchAll_" + makeShortUUID(core_.runtime());
  plan.aggregateName = "Sonmere Mix Mode Catch-All";
  plan.procedure = capture;
  plan.clientData = state_.get();
  // At the monitor's rate, so that its ring needs no conversion.
  plan.beforeSettling = [this](AudioDeviceID aggregate) {
    if (const auto rate = core_.bridgeRate()) core_.hardware().setNominalSampleRate(aggregate, *rate);
  };
  plan.report = [this](const TapAggregateFailure& failure) { report(failure); };
  return plan;
}

void CatchAllTap::report(const TapAggregateFailure& failure) const {
  const auto what = [&] {
    switch (failure.step) {
      case TapAggregateStep::createTap:
        return "tap creation";
      case TapAggregateStep::readTapUID:
        return "tap UID fetch";
      case TapAggregateStep::createAggregate:
        return "aggregate creation";
      case TapAggregateStep::createIOProc:
        return "IOProc creation";
      case TapAggregateStep::startDevice:
        return "start";
    }
    return "";
  };
  core_.log().error(fmt::format("Sonmere Mix Mode: catch-all {} failed: {}", what(), failure.status));
}

void CatchAllTap::create() {
  if (!core_.hardware().supportsProcessTaps())
    return core_.log().warning(fmt::format("Sonmere Mix Mode: catch-all needs {} — skipping",
                                           core_.context.platform.words().tapsNeed));
  state_->source.setEnabled(true);
  const auto made = buildTapAggregate(core_.hardware(), core_.runtime(), plan());
  objects_ = made.value_or(TapAggregate{});
  if (made)
    core_.log().info(fmt::format("Sonmere Mix Mode: catch-all started — excluding {} already-routed apps",
                                 lastCatchAllExcludes_.size()));
  state_->source.setEnabled(isRunning());
  core_.context.monitors.noteSwitched();
}

void CatchAllTap::destroy() {
  destroyTapAggregate(core_.hardware(), objects_);
  state_->level = 0;
  state_->source.setEnabled(false);
  core_.context.monitors.noteSwitched();
  core_.log().info("Sonmere Mix Mode: catch-all stopped");
}

void CatchAllTap::start(std::vector<AudioObjectID> excludes) {
  if (isRunning() && excludes == lastCatchAllExcludes_) return;
  if (isRunning()) {
    core_.log().info(
        fmt::format("Sonmere Mix Mode: catch-all exclude list changed ({} → {} apps) — rebuilding",
                    lastCatchAllExcludes_.size(), excludes.size()));
    destroy();
  }
  lastCatchAllExcludes_ = std::move(excludes);
  create();
}

void CatchAllTap::stop() {
  if (isRunning()) destroy();
}

void CatchAllTap::heal() {
  if (!isRunning()) return;
  core_.log().info("Sonmere TapWatchdog: rebuilding catch-all tap (suspected drift)");
  destroy();
  create();
}

void CatchAllTap::forget() {
  objects_ = {};
  state_->level = 0;
  state_->source.setEnabled(false);
  core_.context.monitors.noteSwitched();
}

}  // namespace sonmere
