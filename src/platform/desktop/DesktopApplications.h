#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "audio/device/RunningApplications.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "platform/ObserverList.h"
#include "platform/desktop/AppIdentity.h"
#include "platform/desktop/DesktopEntries.h"
#include "platform/desktop/ProcessWatch.h"

namespace sonmere {

// What this program is called among the desktop's applications; the base name of its own .desktop file.
inline constexpr std::string_view kOwnBundleID = "com.sonmere.ToneFerry";

// The user's programs. What plays is known from the audio platform, which tells of each process that it
// meets; whatever else is asked for is looked up in /proc at that moment. "Launched" is a program that the
// platform told of for the first time, "terminated" one whose process has ended. Main thread, but for
// appeared() and vanished().
class DesktopApplications final : public RunningApplications {
 public:
  // What differs where no desktop runs.
  struct Places {
    std::string procFolder = "/proc";
    std::string runtimeFolder;  // $XDG_RUNTIME_DIR
  };
  DesktopApplications(Runtime& runtime, Log& log, DesktopEntries entries, Places places);

  std::optional<RunningApplication> applicationWithPID(ProcessID pid) override;
  std::vector<RunningApplication> applicationsWithBundleID(std::string_view bundleID) override;
  std::optional<ProcessID> responsiblePID(ProcessID pid) override;
  std::optional<std::string> iconForBundleID(std::string_view bundleID) override;
  ProcessID ownPID() const override;
  std::string ownBundleID() const override { return std::string(kOwnBundleID); }
  // Starts the application's Exec line without files and without a shell, in a control group of its own where
  // the session has them. Does nothing for one that runs. -600: no such application; 100000 + errno: it could
  // not be started.
  OSStatus launch(std::string_view bundleID) override;
  // Asks the process to end (SIGTERM). -600: no such process; 100000 + errno: not allowed.
  OSStatus terminate(ProcessID pid) override;
  [[nodiscard]] Subscription observeLaunches(
      std::function<void(const RunningApplication&)> observer) override;
  [[nodiscard]] Subscription observeTerminations(
      std::function<void(const RunningApplication&)> observer) override;

  // The platform's side; threads: any. A process plays its first stream; `identity` is that stream's.
  void appeared(ProcessID pid, const AppIdentity& identity);
  // Its last stream has gone. It stays known until it ends, where that can be seen.
  void vanished(ProcessID pid);
  // As read at the start; never changes. Threads: any.
  const DesktopEntries& entries() const { return entries_; }

 private:
  struct Observers;
  struct Known {
    AppIdentity identity;
    bool isWatched = false;
  };
  RunningApplication describe(ProcessID pid, const AppIdentity& identity) const;
  std::optional<RunningApplication> lookUp(ProcessID pid) const;
  std::optional<RunningApplication> forget(ProcessID pid);
  void ended(ProcessID pid);
  std::vector<std::string> launchCommand(const DesktopEntry& entry) const;

  Runtime& runtime_;
  Log& log_;
  const DesktopEntries entries_;
  const Places places_;
  std::shared_ptr<Observers> observers_;
  mutable std::mutex mutex_;  // guards known_
  std::map<ProcessID, Known> known_;
  ProcessWatch watch_;  // last: its thread uses all of the above
};

}  // namespace sonmere
