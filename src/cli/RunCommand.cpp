#include "cli/RunCommand.h"

#include <fmt/format.h>

#include <optional>

#include "app/FileSettingsStore.h"
#include "app/ForegroundRun.h"
#include "app/OverriddenSettings.h"
#include "app/PlatformFolders.h"
#include "base/LiveRuntime.h"
#include "base/MemoryReturn.h"
#include "base/StopSignals.h"
#include "cli/ExitStatus.h"
#include "cli/RunPrinter.h"
#include "cli/Tell.h"
#include "control/ControlServer.h"
#include "recording/library/InotifyFolderWatch.h"

namespace sonmere {

namespace {

// Turns after the report in which files that are being closed come to their end.
constexpr Duration kLastTurns = fromMilliseconds(300);
constexpr Duration kLastTurn = fromMilliseconds(5);

int tell(int status, const std::string& text) { return sonmere::tell("run", status, text); }

// Keeps the library up to date while the run goes on, and tells when recordings go elsewhere than chosen.
class LibraryUpkeep {
 public:
  LibraryUpkeep(RecordingsLibrary& library, FileDescriptorWatcher& watcher) : library_(library) {
    unavailable_ = library.folderUnavailable.observe([this](bool isUnavailable) { show(isUnavailable); });
    show(*library.folderUnavailable);
    auto watch = InotifyFolderWatch::create(watcher);
    if (!watch) tell(kExitSuccess, watch.error().description);
    library.startWatching(watch ? std::move(*watch) : nullptr);
  }
  ~LibraryUpkeep() { library_.stopWatching(); }
  LibraryUpkeep(const LibraryUpkeep&) = delete;
  LibraryUpkeep& operator=(const LibraryUpkeep&) = delete;

 private:
  void show(bool isUnavailable) const {
    if (isUnavailable) tell(kExitSuccess, recordingsFolderUnavailableText(library_.defaultFolder()));
  }

  RecordingsLibrary& library_;
  Subscription unavailable_;
};

// One run of the application, from its parts to its exit status.
class RunSession {
 public:
  explicit RunSession(RunRequest request) : request_(std::move(request)) {
    log_.addSink(Log::standardError(request_.verbose ? LogLevel::info : LogLevel::warning));
  }

  int run() {
    if (request_.hasControl) {
      auto endpoint = ControlEndpoint::open(userControlFolder());
      if (!endpoint) return tell(kExitFailure, endpoint.error().description);
      endpoint_ = std::move(*endpoint);
    }
    auto platform = PlatformChoice::choose(runtime_, log_, request_.platform);
    if (!platform) return tell(kExitFailure, platform.error().description);
    FileSettingsStore settings(runtime_, log_, defaultSettingsPath());
    if (const auto& error = settings.loadError()) return tell(kExitFailure, error->description);
    // The demo apps are there to try the per-app volume on; it stays as it was for other runs.
    OverriddenSettings ofThisRun(settings);
    if (request_.options.demoApps) ofThisRun.override("sonmere.volumeMixer.isEnabled", true);
    // A run for some seconds, or on a server inside this process, is no sign that the user wants it always.
    const bool registersLoginItem = !platform->embedded() && !request_.options.seconds;
    ToneFerryApp app({runtime_, log_, ofThisRun, platform->platform(), userFolders(), createAudioFile,
                      request_.folder, registersLoginItem});
    return runOn(*platform, app);
  }

 private:
  int runOn(PlatformChoice& platform, ToneFerryApp& app) {
    auto watcher = FileDescriptorWatcher::create(runtime_.mainQueue());
    if (!watcher) return tell(kExitFailure, watcher.error().description);
    ForegroundRun run(runtime_, app, platform, request_.options);
    if (const auto prepared = run.prepare(); !prepared)
      return tell(kExitBadInput, prepared.error().description);
    const auto signals = StopSignals::watch(**watcher, [&](int signal) {
      signal_ = signal;
      run.quit();
    });
    if (!signals) return tell(kExitFailure, signals.error().description);
    Control control(app, platform, [&] { run.quit(); });
    std::unique_ptr<ControlServer> server;
    if (endpoint_) {
      auto started = ControlServer::start(runtime_, log_, **watcher, control, std::move(endpoint_));
      if (!started) return tell(kExitFailure, started.error().description);
      server = std::move(*started);
    }
    const LibraryUpkeep upkeep(*app.recordingsLibrary(), **watcher);
    app.appDelegate().applicationDidFinishLaunching(false, nullptr);
    const RunReport report = play(run, platform);
    const int status = conclude(platform, report);
    letFilesEnd(app, status);
    return status;
  }

  RunReport play(ForegroundRun& run, PlatformChoice& platform) {
    std::optional<RunReport> result;
    const auto ready = [&] {
      if (!request_.json) printRunReady(platform, run.report());
    };
    const auto done = [&](const RunReport& report) {
      result = report;
      runtime_.stop();
    };
    runtime_.mainQueue().post([&] { run.start(ready, done); });
    while (!result) runtime_.run();
    return std::move(*result);
  }

  int conclude(const PlatformChoice& platform, const RunReport& report) {
    request_.json ? printRunJSON(platform, report) : printRunTable(report);
    for (const std::string& error : report.errors) tell(kExitFailure, error);
    if (signal_ != 0) return kExitSignalled + signal_;
    return report.errors.empty() ? kExitSuccess : kExitFailure;
  }

  // Tearing down would wait for a write that hangs for as long as the drive likes.
  void letFilesEnd(const ToneFerryApp& app, int status) {
    const Duration limit = runtime_.uptime() + kLastTurns;
    const ScopedTask look = runtime_.mainQueue().repeat(kLastTurn, [&] {
      if (!app.isWriting() || runtime_.uptime() > limit) runtime_.stop();
    });
    if (app.isWriting()) runtime_.run();
    if (!app.isWriting()) return;
    const bool written = std::fflush(stdout) == 0 && !std::ferror(stdout);
    _exit(written ? status : kExitFailure);
  }

  const RunRequest request_;
  Log log_;  // written to until the runtime's threads have ended
  LiveRuntime runtime_;
  std::unique_ptr<ControlEndpoint> endpoint_;  // until the server has it
  int signal_ = 0;
};

}  // namespace

int runRunCommand(const RunArguments& arguments) {
  auto request = parseRun(arguments);
  if (!request) return tell(kExitBadInput, request.error().description);
  for (const std::string& note : request->notes) tell(kExitSuccess, note);
  returnFreedMemory();
  return RunSession(std::move(*request)).run();
}

}  // namespace sonmere
