#include "app/AppDelegate.h"

#include <algorithm>

#include "app/AudioFileNames.h"

namespace sonmere {

namespace {

constexpr const char* kFirstLaunchKey = "sonmere.hasCompletedFirstLaunch";
constexpr const char* kShowWindowKey = "sonmere.showWindowOnLaunch";
// The window of a scene may not exist yet at launch.
constexpr int kLastCloseAttempt = 7;
constexpr Duration kCloseDelay = fromMilliseconds(50);

}  // namespace

AppDelegate::AppDelegate(Runtime& runtime, Log& log, SettingsStore& settings,
                         NotificationCenter& notifications)
    : runtime_(runtime), log_(log), settings_(settings), notifications_(notifications) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching(bool asLoginItem, WindowHost* windows) {
  launchedAsLoginItem_ = asLoginItem;
  windows_ = windows;
  isFirstLaunch_ = !settings_.boolValue(kFirstLaunchKey);
  if (isFirstLaunch_) settings_.set(kFirstLaunchKey, true);
  if (!windows_) return;
  if (!showsMainWindow(asLoginItem)) closeMainWindow(0);
  windows_->useDarkAppearance();
}

bool AppDelegate::showsMainWindow(bool asLoginItem) const {
  return !asLoginItem && (isFirstLaunch_ || settings_.optionalBool(kShowWindowKey).value_or(true));
}

void AppDelegate::closeMainWindow(int attempt) {
  if (attempt > kLastCloseAttempt || windows_->closeMainWindows()) return;
  closing_ = runtime_.mainQueue().postAfter((attempt + 1) * kCloseDelay,
                                            [this, attempt] { closeMainWindow(attempt + 1); });
}

void AppDelegate::wire(std::shared_ptr<AppTapEngine> engine, std::shared_ptr<BusRecordings> recordings,
                       std::shared_ptr<FlushDeadline> flushDeadline) {
  appTapEngine_ = std::move(engine);
  recordings_ = std::move(recordings);
  flushDeadline_ = std::move(flushDeadline);
  if (!pendingExternalURLs_.empty()) notifications_.post(kOpenMainWindow);
}

void AppDelegate::applicationOpen(const std::vector<std::string>& files) {
  const auto before = pendingExternalURLs_.size();
  std::ranges::copy_if(files, std::back_inserter(pendingExternalURLs_), isAudioFileName);
  if (appTapEngine_ && pendingExternalURLs_.size() > before) notifications_.post(kOpenMainWindow);
}

bool AppDelegate::isAnyRecordingActive() const {
  return recordings_ && (recordings_->isAnyRecording() || recordings_->isAnyStopping());
}

TerminateReply AppDelegate::applicationShouldTerminate(std::function<void()> reply) {
  if (!appTapEngine_ || !isAnyRecordingActive()) return TerminateReply::now;
  log_.info("Sonmere: quit requested with active recordings — finalizing first");
  flushDeadline_->set(runtime_.uptime() + FlushDeadline::kQuitTime);
  // The files or the limit, whichever comes first.
  const auto finish =
      lifetime_.guard([this, reply = std::move(reply), isDone = std::make_shared<bool>(false)] {
        if (std::exchange(*isDone, true)) return;
        const auto last = reply;
        quitLimit_.cancel();
        last();
      });
  quitLimit_ = runtime_.mainQueue().postAfter(kQuitLimit, finish);
  recordings_->stopAllRecordings([finish](const auto&) { finish(); });
  return TerminateReply::later;
}

}  // namespace sonmere
