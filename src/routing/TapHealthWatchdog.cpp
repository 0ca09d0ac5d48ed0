#include "routing/TapHealthWatchdog.h"

#include <fmt/format.h>

namespace sonmere {

namespace {

constexpr int kCheckInterval = 5;  // seconds
constexpr int kSilenceThresholdSeconds = 60;
constexpr float kSilentLevelThreshold = 0.005f;
constexpr std::size_t kMostRecentHeals = 10;
constexpr const char* kCatchAllKey = "";

}  // namespace

void TapHealthWatchdog::start() {
  if (timer_) return;
  silentSeconds_.clear();
  timer_ = core_.runtime().mainQueue().repeat(std::chrono::seconds(kCheckInterval), [this] { check(); });
  core_.log().info("Sonmere TapWatchdog: started");
}

void TapHealthWatchdog::stop() {
  if (!timer_) return;
  timer_.cancel();
  core_.log().info("Sonmere TapWatchdog: stopped");
}

bool TapHealthWatchdog::isSilentForLong(const std::string& key, float level) {
  if (level > kSilentLevelThreshold) return silentSeconds_.erase(key), false;
  int& seconds = silentSeconds_[key];
  seconds += kCheckInterval;
  return seconds >= kSilenceThresholdSeconds;
}

void TapHealthWatchdog::check() {
  std::erase_if(silentSeconds_, [this](const auto& each) {
    return each.first != kCatchAllKey && !core_.activeTaps.contains(each.first);
  });
  std::vector<std::pair<std::string, ProcessID>> silent;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (isSilentForLong(bundleID, tap->level)) silent.emplace_back(bundleID, tap->pid);
  for (const auto& [bundleID, pid] : silent) {
    core_.log().info(fmt::format("Sonmere TapWatchdog: PID {} silent for {} seconds — healing", pid,
                                 silentSeconds_[bundleID]));
    silentSeconds_.erase(bundleID);
    taps_.healTap(bundleID);
    note(pid);
  }
  if (!catchAll_.isRunning() || !isSilentForLong(kCatchAllKey, catchAll_.level())) return;
  core_.log().info(fmt::format("Sonmere TapWatchdog: catch-all silent for {} seconds — healing",
                               silentSeconds_[kCatchAllKey]));
  silentSeconds_.erase(kCatchAllKey);
  catchAll_.heal();
  note(kCatchAll);
}

void TapHealthWatchdog::note(ProcessID pid) {
  const Date now = core_.runtime().wallTime();
  healCount.set(*healCount + 1);
  lastHealAt.set(now);
  recentHeals.update([&](auto& heals) {
    heals.push_back({pid, now});
    if (heals.size() > kMostRecentHeals) heals.erase(heals.begin());
  });
}

}  // namespace sonmere
