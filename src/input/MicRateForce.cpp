#include "input/MicRateForce.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

namespace {
constexpr double kSameRateHz = 1.0;
constexpr double kFallbackRate = 48000;
// An input below this that can't be moved is converted: a headset in its call mode.
constexpr double kCallRateLimit = 44000;
constexpr Duration kPollInterval = fromMilliseconds(100);
constexpr Duration kPollTime = fromMilliseconds(600);

bool isSame(double a, double b) { return std::abs(a - b) <= kSameRateHz; }
}  // namespace

bool MicRateForce::reaches(AudioDeviceID device, double rate) {
  const auto isThere = [&] {
    const auto now = CoreAudioUtils::nominalRate(context_.hardware(), device);
    return now && isSame(*now, rate);
  };
  for (Duration waited{}; waited < kPollTime; waited += kPollInterval) {
    if (isThere()) return true;
    context_.runtime.blockFor(kPollInterval);
  }
  return isThere();
}

bool MicRateForce::force(AudioDeviceID input, double rate, double original) {
  context_.log.info(fmt::format("ToneFerry: forcing mic rate {:.0f} Hz → {:.0f} Hz {}", original, rate,
                                context_.platform.words().whyRateIsForced));
  forced_ = Forced{input, original};
  context_.hardware().setNominalSampleRate(input, rate);
  if (reaches(input, rate)) return true;
  forced_.reset();
  return false;
}

std::expected<MicRateForce::Rates, MicRateForce::Aborted> MicRateForce::match(AudioDeviceID input,
                                                                              AudioDeviceID bridge) {
  AudioHardware& hardware = context_.hardware();
  const double bridgeRate = CoreAudioUtils::nominalRate(hardware, bridge).value_or(kFallbackRate);
  const double inputRate = CoreAudioUtils::nominalRate(hardware, input).value_or(bridgeRate);
  if (isSame(inputRate, bridgeRate) || force(input, bridgeRate, inputRate))
    return Rates{bridgeRate, bridgeRate};
  const auto now = CoreAudioUtils::nominalRate(hardware, input);
  // Gone meanwhile: the bridge stays where it is, and the start says what is missing.
  if (!now) return Rates{bridgeRate, bridgeRate};
  const double stays = *now;
  const bool bridgeCan = CoreAudioUtils::hasAvailableRate(hardware, bridge, stays);
  if (stays < kCallRateLimit && !bridgeCan) {
    context_.log.info(
        fmt::format("mic start: {} stays at {:f} Hz, a rate the bridge can't run at: capturing at {:f} Hz "
                    "and converting to {:f} Hz",
                    CoreAudioUtils::deviceName(hardware, input).value_or("?"), stays, stays, bridgeRate));
    return Rates{stays, bridgeRate};
  }
  if (bridgeCan && hardware.setNominalSampleRate(bridge, stays) == noErr && reaches(bridge, stays))
    return Rates{stays, stays};
  return std::unexpected(Aborted{stays, bridgeRate});
}

void MicRateForce::restore() {
  const auto forced = std::exchange(forced_, std::nullopt);
  if (!forced) return;
  context_.log.info(fmt::format("ToneFerry: restoring mic rate to original {:.0f} Hz", forced->rate));
  context_.hardware().setNominalSampleRate(forced->device, forced->rate);
}

}  // namespace sonmere
