#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/WindowHost.h"
#include "base/Lifetime.h"
#include "base/Log.h"
#include "base/NotificationCenter.h"
#include "base/Runtime.h"
#include "base/SettingsStore.h"
#include "recording/BusRecordings.h"
#include "recording/FlushDeadline.h"
#include "routing/AppTapEngine.h"

namespace sonmere {

enum class TerminateReply { now, later };

// What happens at launch, when files are opened and when the program is to quit. Main thread.
class AppDelegate {
 public:
  // Posted when some part of the program asks for the main window.
  static constexpr const char* kOpenMainWindow = "sonmereOpenMainWindow";
  // How long a quit waits for the recordings, however slow their drive.
  static constexpr Duration kQuitLimit = std::chrono::seconds(8);

  AppDelegate(Runtime& runtime, Log& log, SettingsStore& settings, NotificationCenter& notifications);
  ~AppDelegate();

  // `windows` may be null and outlives the delegate.
  void applicationDidFinishLaunching(bool asLoginItem, WindowHost* windows);
  static constexpr bool applicationShouldTerminateAfterLastWindowClosed() { return false; }
  // With `later`, `reply` is called once the recordings are complete or the limit has passed; it always is.
  TerminateReply applicationShouldTerminate(std::function<void()> reply);
  // Audio files that the system asks the program to open, as paths; others are ignored. They wait for an
  // editor.
  void applicationOpen(const std::vector<std::string>& files);

  // The start-up step: from here on a quit waits for recordings, and opened files bring the program forward.
  void wire(std::shared_ptr<AppTapEngine> engine, std::shared_ptr<BusRecordings> recordings,
            std::shared_ptr<FlushDeadline> flushDeadline);

  // Whether a main window that comes up now is to show, or waits in the tray: one that the log-in brought
  // does, and from the second launch on one whose user wants none.
  bool showsMainWindow(bool asLoginItem) const;

  bool launchedAsLoginItem() const { return launchedAsLoginItem_; }
  const std::vector<std::string>& pendingExternalURLs() const { return pendingExternalURLs_; }

 private:
  bool isAnyRecordingActive() const;
  void closeMainWindow(int attempt);

  Runtime& runtime_;
  Log& log_;
  SettingsStore& settings_;
  NotificationCenter& notifications_;
  WindowHost* windows_ = nullptr;
  std::shared_ptr<AppTapEngine> appTapEngine_;
  std::shared_ptr<BusRecordings> recordings_;
  std::shared_ptr<FlushDeadline> flushDeadline_;
  std::vector<std::string> pendingExternalURLs_;
  bool launchedAsLoginItem_ = false;
  bool isFirstLaunch_ = true;
  ScopedTask closing_;
  ScopedTask quitLimit_;
  // Tells the end of a stop whether this object is still there.
  Lifetime lifetime_;
};

}  // namespace sonmere
