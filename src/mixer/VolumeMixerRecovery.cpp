// The part of VolumeMixerEngine that keeps an output under the apps: changes of the default device, sleep and
// wake, restarts of the server, and builds that fail.

#include "audio/device/CoreAudioUtils.h"
#include "mixer/VolumeMixerEngine.h"

namespace sonmere {

namespace {

// Distances between attempts double from the first on; after the last the mixer goes off.
constexpr Duration kFirstRetryDelay = std::chrono::seconds(1);
constexpr int kRebuildAttempts = 5;
// How often to look for a default output while there is none, beside the listener.
constexpr Duration kNoDeviceRetryDelay = std::chrono::seconds(5);

}  // namespace

bool VolumeMixerEngine::buildOutput() {
  const auto message = output_.build();
  triedDevice_ = CoreAudioUtils::defaultOutput(context_.hardware());
  if (message && message != *errorMessage) context_.log.error("Sonmere: " + *message);
  tell(message);
  return !message;
}

void VolumeMixerEngine::tell(const std::optional<std::string>& message) {
  errorMessage.setIfChanged(message);
}

void VolumeMixerEngine::rebuildOutputSoon(Duration delay) {
  if (!*isEnabled || isSuspendedForSleep_) return;
  outputRebuild_ = context_.runtime.mainQueue().postAfter(delay, [this] { rebuildOutput(); });
}

// The taps stay, at the new rate; without an output they would only silence their apps.
void VolumeMixerEngine::rebuildOutput() {
  outputRebuild_.cancel();
  if (!*isEnabled || isSuspendedForSleep_) return;
  output_.teardown();
  taps_.reconcileRates();
  if (!buildOutput()) return retryOutput();
  failedRebuilds_ = 0;
  syncTaps();
}

void VolumeMixerEngine::retryOutput() {
  releaseApps();
  if (!CoreAudioUtils::defaultOutput(context_.hardware())) return rebuildOutputSoon(kNoDeviceRetryDelay);
  if (failedRebuilds_ < kRebuildAttempts)
    return rebuildOutputSoon(kFirstRetryDelay * (1 << failedRebuilds_++));
  context_.log.error("Sonmere: the Volume Mixer's output can't be built: the mixer is off");
  switchOff();
}

// Every tap is gone with the server: the apps play by themselves until it is ready.
void VolumeMixerEngine::serverLost() {
  outputRebuild_.cancel();
  if (!*isEnabled) return;
  releaseApps();
  output_.teardown();
}

void VolumeMixerEngine::suspend() {
  isSuspendedForSleep_ = true;
  outputRebuild_.cancel();
  output_.pauseWatchdog();
}

// After a wake the output of before may go on playing meanwhile, so that nothing is lost where the devices
// never stopped. Devices that come and go beside the default are no reason for another attempt: those that
// fail are counted.
void VolumeMixerEngine::revalidate(RevalidationReason reason) {
  if (reason == RevalidationReason::wake) isSuspendedForSleep_ = false;
  if (!*isEnabled) return;
  const bool isChange = reason == RevalidationReason::deviceChange;
  if (!isChange || CoreAudioUtils::defaultOutput(context_.hardware()) != triedDevice_) rebuildOutput();
}

void VolumeMixerEngine::reset(ResetRoutingResult& result) {
  failedRebuilds_ = 0;
  Route::reset(result);
}

RouteHealthEntry VolumeMixerEngine::health() const {
  RouteHealthEntry entry{"mixer", "Per-App Volume", RouteHealthVerdict::healthy, errorMessage->value_or("")};
  if (!*isEnabled)
    entry.verdict = RouteHealthVerdict::inactive;
  else if (!output_.isRunning())
    entry.verdict = RouteHealthVerdict::broken;
  else if (*errorMessage)
    entry.verdict = RouteHealthVerdict::degraded;
  return entry;
}

}  // namespace sonmere
