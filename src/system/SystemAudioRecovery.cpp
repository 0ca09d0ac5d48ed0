// The part of the passthrough that looks whether it works, and that comes back after an update.

#include <fmt/format.h>

#include <algorithm>

#include "audio/device/CoreAudioUtils.h"
#include "system/SystemAudioEngine.h"

namespace sonmere {

namespace {

constexpr Duration kVerifyAgain = fromMilliseconds(2500);
constexpr int kMostHeals = 2;
// The microphone hears something that must be on the bridge too, on the meters' scale.
constexpr float kClearlyHeard = 0.12f;
constexpr Duration kRestoreDelay = std::chrono::seconds(2), kRestoreInterval = std::chrono::seconds(1);
constexpr Duration kLeastRestoreTime = std::chrono::seconds(4), kMostRestoreTime = std::chrono::seconds(30);
constexpr Duration kSelfTestWindow = std::chrono::seconds(60);
constexpr int kSettledPasses = 3;

}  // namespace

void SystemAudioEngine::scheduleVerify(Duration delay) {
  ear_.clear();
  if (takeMicPeak) takeMicPeak();
  verify_ = context_.runtime.mainQueue().postAfter(delay, [this] {
    if (*isEnabled) verify();
  });
}

// Silence proves nothing without a sound that is known to be there.
void SystemAudioEngine::verify() {
  const auto micPeak = takeMicPeak ? takeMicPeak() : std::nullopt;
  const float peak = micPeak.value_or(0);
  if (ear_.hasHeard()) {
    context_.log.info("verify: SAP route OK — bridge is receiving audio");
    sapHealAttempts_ = 0;
    restoreVerifyDeadline_.reset();
    ear_.stop();
  } else if (!micPeak) {
    context_.log.info("verify: bridge flat, mic off — relying on source fixes (no safe heal signal)");
    restoreVerifyDeadline_.reset();
    ear_.stop();
  } else if (peak > kClearlyHeard) {
    heal("bridge flat with mic running");
  } else {
    context_.log.info(
        fmt::format("verify: bridge flat but mic heard nothing (peak {:.2f}) — re-checking, no heal", peak));
    scheduleVerify(kVerifyAgain);
  }
}

void SystemAudioEngine::heal(const std::string& reason) {
  if (sapHealAttempts_ < kMostHeals) {
    ++sapHealAttempts_;
    context_.log.warning(fmt::format("verify: {} — healing ({}/{})", reason, sapHealAttempts_, kMostHeals));
    sapHealing_ = true;
    return switchOffAndOn();
  }
  context_.log.warning(fmt::format("verify: {} — still wedged after {} heals, giving up", reason,
                                   std::exchange(sapHealAttempts_, 0)));
  const auto deadline = std::exchange(restoreVerifyDeadline_, std::nullopt);
  if (!deadline || *deadline <= context_.runtime.uptime()) return;
  context_.log.warning("restore after update: self-test failed, switching SAP off with notice");
  setEnabled(false);
  context_.settings.set(kUpdateNoticeKey, true);
  context_.notifications.post(kRestoreEndedOff);
}

// A new build does not start behind a route that the audio system may not have accepted yet.
void SystemAudioEngine::checkForUpdate() {
  SettingsStore& settings = context_.settings;
  const std::string seen = settings.string(kLastSeenAppVersionKey).value_or("");
  if (settings.boolValue(kEnabledKey) && seen != appVersion_) {
    availableOutputDevices.set(outputCandidates(context_.devices));
    const OutputCandidate* target = candidate(settings.string(kSelectedOutputDeviceUIDKey).value_or(""));
    if (!target) target = candidate(AudioDeviceID(settings.number(kOriginalDeviceKey).value_or(0)));
    if (!target) target = preferredOutput(*availableOutputDevices);
    if (target) setDefault(target->id);
    settings.set(kEnabledKey, false);
    settings.set(kRestoreAfterUpdateKey, true);
    settings.set(kUpdateNoticeKey, false);
    settings.remove(kOriginalDeviceKey);
    settings.remove(kMultiOutputDeviceKey);
    context_.log.info(
        fmt::format("ToneFerry: First launch after update ({} → {}), SAP off until the audio system settles",
                    seen, appVersion_));
  }
  settings.set(kLastSeenAppVersionKey, appVersion_);
}

void SystemAudioEngine::beginRestore() {
  if (!context_.settings.boolValue(kRestoreAfterUpdateKey)) return;
  restore_ = {context_.runtime.uptime(), 0, {}};
  restoreLoop_ = context_.runtime.mainQueue().postAfter(kRestoreDelay, [this] { continueRestore(); });
}

void SystemAudioEngine::endRestore(const std::string& why, bool isNotice) {
  context_.settings.remove(kRestoreAfterUpdateKey);
  restoreVerifyDeadline_.reset();
  if (isNotice) context_.settings.set(kUpdateNoticeKey, true);
  context_.log.info("restore after update: " + why);
  context_.notifications.post(kRestoreEndedOff);
}

bool SystemAudioEngine::isSettled() {
  std::vector<AudioDeviceID> ids = hardware().devices().value_or(std::vector<AudioDeviceID>{});
  std::ranges::sort(ids);
  const auto bridge = this->bridge();
  const bool isSame = ids == restore_.lastIDs;
  restore_.lastIDs = std::move(ids);
  return bridge && hardware().isAlive(*bridge).value_or(false) && !isReconfiguring_ && isSame;
}

void SystemAudioEngine::continueRestore() {
  restoreLoop_.cancel();
  SettingsStore& settings = context_.settings;
  if (!settings.boolValue(kRestoreAfterUpdateKey)) return;
  if (*isEnabled) return settings.remove(kRestoreAfterUpdateKey);
  if (isMixModeOn()) return endRestore("Mix Mode is on, leaving SAP off", false);
  const Duration elapsed = context_.runtime.uptime() - restore_.since;
  if (elapsed >= kMostRestoreTime) return endRestore("audio system never settled, SAP off with notice", true);
  restore_.settledPasses = isSettled() ? restore_.settledPasses + 1 : 0;
  if (restore_.settledPasses < kSettledPasses || elapsed < kLeastRestoreTime) {
    restoreLoop_ = context_.runtime.mainQueue().postAfter(kRestoreInterval, [this] { continueRestore(); });
    return;
  }
  settings.remove(kRestoreAfterUpdateKey);
  refreshDevices();
  context_.log.info(fmt::format("restore after update: audio settled after {:.0f} s, switching SAP back on",
                                toSeconds(elapsed)));
  restoreVerifyDeadline_ = context_.runtime.uptime() + kSelfTestWindow;
  if (setEnabled(true)) return;
  endRestore(fmt::format("enable failed ({}), SAP off with notice", errorMessage->value_or("")), true);
}

}  // namespace sonmere
