#include "system/MultiOutput.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "base/UUID.h"

namespace sonmere {

namespace {
constexpr int kRateLooks = 15;
constexpr Duration kRateLookInterval = fromMilliseconds(20);
constexpr Duration kRateSettled = fromMilliseconds(100), kRateUnsettled = fromMilliseconds(50);
}  // namespace

void MultiOutput::pause(Duration time) const {
  if (context_.hardware().needsSettling()) context_.runtime.blockFor(time);
}

bool MultiOutput::isOne(AudioDeviceID device) const {
  return CoreAudioUtils::deviceUID(context_.hardware(), device).value_or("").starts_with(kMultiOutputUID);
}

std::vector<AudioDeviceID> MultiOutput::all() const {
  std::vector<AudioDeviceID> found;
  for (const AudioDeviceID device : context_.hardware().devices().value_or(std::vector<AudioDeviceID>{}))
    if (isOne(device)) found.push_back(device);
  return found;
}

void MultiOutput::matchBridge(AudioDeviceID output, AudioDeviceID bridge) const {
  AudioHardware& hardware = context_.hardware();
  const auto target = CoreAudioUtils::nominalRate(hardware, output);
  const auto matches = [&] {
    const auto present = CoreAudioUtils::nominalRate(hardware, bridge);
    return present && std::abs(*present - *target) < kSameRateHz;
  };
  if (!target || matches()) return;
  hardware.setNominalSampleRate(bridge, *target);
  context_.log.info(fmt::format("ToneFerry: Matched Tone Ferry sample rate to {:.0f} Hz", *target));
  bool isSettled = matches();
  for (int look = 0; look < kRateLooks && !isSettled; ++look) {
    context_.runtime.blockFor(kRateLookInterval);
    isSettled = matches();
  }
  pause(isSettled ? kRateSettled : kRateUnsettled);
  context_.log.info(fmt::format("ToneFerry: Bridge rate settle {} (target {:.0f} Hz)",
                                isSettled ? "ok" : "timeout", *target));
}

Result<AudioDeviceID> MultiOutput::create(const OutputCandidate& output) const {
  AggregateDescription description;
  description.uid = fmt::format("{}_{}", kMultiOutputUID, makeShortUUID(context_.runtime));
  description.name = "Sonmere + " + (output.name.empty() ? "Output" : output.name);
  description.isPrivate = false;
  description.isStacked = true;
  description.sides = AggregateSides::output;
  description.master = output.uid;
  description.subDevices = {{output.uid, false}, {std::string(kBusUIDs[kBridgeBus]), true}};
  return context_.hardware().createAggregateDevice(description);
}

void MultiOutput::destroy(AudioDeviceID device) const {
  const OSStatus status = context_.hardware().destroyAggregateDevice(device);
  context_.log.info(
      status == noErr
          ? fmt::format("ToneFerry: Destroyed Multi-Output Device (ID: {})", device)
          : fmt::format("ToneFerry: Failed to destroy Multi-Output Device (ID: {}): {}", device, status));
}

void MultiOutput::destroyAllBut(AudioDeviceID kept) const {
  for (const AudioDeviceID device : all()) {
    if (device == kept) continue;
    context_.hardware().destroyAggregateDevice(device);
    context_.log.info(fmt::format("ToneFerry: Cleaned up orphan Multi-Output Device (ID: {})", device));
  }
}

std::vector<std::string> MultiOutput::members(AudioDeviceID device) const {
  return context_.hardware().fullSubDeviceList(device).value_or(std::vector<std::string>{});
}

}  // namespace sonmere
