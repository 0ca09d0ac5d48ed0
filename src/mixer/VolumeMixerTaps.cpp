#include "mixer/VolumeMixerTaps.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "audio/engine/SettleTimes.h"
#include "base/UUID.h"

namespace sonmere {

namespace {

double outputRate(AudioHardware& hardware) {
  const auto device = CoreAudioUtils::defaultOutput(hardware);
  return device ? CoreAudioUtils::nominalRate(hardware, *device).value_or(0) : 0;
}

}  // namespace

// The aggregate delivers at the rate of the output, so that the ring needs no conversion.
bool VolumeMixerTaps::reconcileRate(const std::string& bundleID, AudioDeviceID aggregate) {
  AudioHardware& hardware = context_.hardware();
  const double wanted = outputRate(hardware);
  const double capture = CoreAudioUtils::nominalRate(hardware, aggregate).value_or(0);
  if (wanted <= 0 || capture <= 0 || std::abs(wanted - capture) <= kSameRateHz) {
    context_.log.info(fmt::format("Rate OK for {}: capture {:f} Hz == output {:f} Hz (no change)", bundleID,
                                  capture, wanted));
    return false;
  }
  const OSStatus status = hardware.setNominalSampleRate(aggregate, wanted);
  const double now = CoreAudioUtils::nominalRate(hardware, aggregate).value_or(0);
  context_.log.info(
      fmt::format("Rate reconcile for {}: capture {:f} Hz -> output {:f} Hz, setErr={}, now {:f} Hz",
                  bundleID, capture, wanted, status, now));
  return status == noErr;
}

bool VolumeMixerTaps::build(const std::shared_ptr<VolumeMixerTap>& tap, const std::string& displayName) {
  AudioHardware& hardware = context_.hardware();
  Runtime& runtime = context_.runtime;
  if (!hardware.supportsProcessTaps()) {
    if (fail) fail(fmt::format("Volume Mixer requires {}.", context_.platform.words().tapsNeed));
    return false;
  }
  TapAggregatePlan plan;
  plan.tap = {.name = "Sonmere Volume Mixer - " + displayName,
              .processes = tap->audioObjectIDs,
              .isPrivate = true,
              .exclusive = false,
              .mute = TapMute::muted};
  plan.aggregateUID = "Sonmere_VolMixer_" + tap->bundleID + "_" + makeShortUUID(runtime);
  plan.aggregateName = "Sonmere VolMixer - " + displayName;
  plan.procedure = captureProcedure;
  plan.clientData = static_cast<CaptureTap*>(tap.get());
  // Not for its result: the read makes the server settle the new device.
  plan.beforeSettling = [&](AudioDeviceID aggregate) {
    (void)hardware.streamConfiguration(aggregate, AudioScope::input);
  };
  plan.afterSettling = [&](AudioDeviceID aggregate) {
    if (reconcileRate(tap->bundleID, aggregate)) settle(runtime, settleTimes(hardware).aggregateRate);
  };
  plan.report = [&](const TapAggregateFailure& failure) {
    if (failure.step == TapAggregateStep::createTap)
      context_.log.error(fmt::format("Failed to create process tap: {}", failure.status));
  };
  const auto made = buildTapAggregate(hardware, runtime, plan);
  if (!made) return false;
  tap->objects = *made;
  active[tap->bundleID] = tap;
  return true;
}

void VolumeMixerTaps::tearDown(const std::string& bundleID) {
  const auto found = active.find(bundleID);
  if (found == active.end()) return;
  const auto tap = found->second;
  active.erase(found);
  tap->isMuted = true;
  destroyTapAggregate(context_.hardware(), tap->objects);
}

void VolumeMixerTaps::tearDownAll() {
  while (!active.empty()) tearDown(active.begin()->first);
}

void VolumeMixerTaps::reconcileRates() {
  for (const auto& [bundleID, tap] : active) reconcileRate(bundleID, tap->objects.aggDeviceID);
}

}  // namespace sonmere
