#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "app/PlatformChoice.h"
#include "app/RunOptions.h"
#include "app/RunReport.h"
#include "app/ToneFerryApp.h"

namespace sonmere {

// The application in the foreground, without a window: starts it, sets up what the options ask for as apps
// appear, and ends it in order. Main thread; application and platform outlive it.
class ForegroundRun {
 public:
  using Done = std::function<void(const RunReport&)>;

  ForegroundRun(Runtime& runtime, ToneFerryApp& app, const PlatformChoice& platform, RunOptions options);

  // What can be refused before anything happens: demo apps on a server of others, files and folders that
  // can't be used.
  Outcome<void> prepare();
  // What happens on the way; each is called once at most, but `done` always.
  struct Events {
    std::function<void()> waiting;  // the server does not answer yet; it is waited for without limit
    std::function<void()> ready;    // it does, and the apps that are there are set up
    Done done;                      // after the time of the options, quit(), or the end of the session
  };
  void start(Events events);
  // Completes the recordings, within the time a quit may take, and calls `done`; before the start, right
  // after it.
  void quit();
  bool isReady() const { return isReady_; }
  // Of this moment.
  RunReport report() const;

 private:
  // The server's and the rows' state has changed, or may have.
  void lookSoon();
  void look();
  void lookAgain();
  // The application starts once the server has a session; it can't do much without.
  bool isStarted();
  void observe();
  bool serverAnswers();
  bool demoAppsAppeared() const;
  const TappedAppInfo* rowFor(const std::string& app) const;
  void applyWishes();
  void setVolume(const std::string& id, const RunOptions::Volume& volume);
  void applyRoute(const std::string& id, const RunOptions::Route& route);
  void startRecordings();
  void becomeReady();
  void giveUp();
  void note(const std::string& error);
  void finish();
  RunReport::Recording describe(const BusRecordingStatus& status) const;

  Runtime& runtime_;
  ToneFerryApp& app_;
  const PlatformChoice& platform_;
  const RunOptions options_;

  std::vector<RunOptions::Route> pendingRoutes_;
  std::vector<RunOptions::Volume> pendingVolumes_;
  std::set<int> pendingRecordings_;
  std::map<std::pair<Date, int>, BusRecordingStatus> recordings_;  // all of this run, by start and bus
  std::vector<std::string> demoApps_;
  std::vector<std::string> errors_;
  Events events_;
  Duration startedAt_{0};                 // uptime
  std::optional<Duration> answersSince_;  // uptime
  bool isWaitTold_ = false;
  bool isStarted_ = false;
  bool isReady_ = false;
  bool quitsAtStart_ = false;
  bool isFinishing_ = false;
  std::vector<Subscription> observers_;
  ScopedTask lookTask_;
  ScopedTask readyCheck_;
  ScopedTask limit_;  // of the wait for the demo apps, then of the run
};

}  // namespace sonmere
