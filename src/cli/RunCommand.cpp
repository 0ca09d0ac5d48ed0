#include "cli/RunCommand.h"

#include <fmt/format.h>

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>

#include "app/DetachedSettings.h"
#include "app/FileSettingsStore.h"
#include "app/ForegroundRun.h"
#include "app/InstanceLock.h"
#include "app/PlatformDriver.h"
#include "app/PlatformFolders.h"
#include "app/PlatformLoginItem.h"
#include "app/ServiceNotices.h"
#include "app/SettingsReplacement.h"
#include "app/UpdateWatch.h"
#include "base/LineWriter.h"
#include "base/LiveRuntime.h"
#include "base/LogLines.h"
#include "base/MemoryReturn.h"
#include "base/PrintableText.h"
#include "base/RealtimeTimeLimit.h"
#include "base/StopSignals.h"
#include "cli/ExitStatus.h"
#include "cli/RunPrinter.h"
#include "cli/Tell.h"
#include "cli/UserLibrary.h"
#include "control/ControlServer.h"
#include "control/desktop/DesktopPresence.h"
#include "recording/library/InotifyFolderWatch.h"

namespace sonmere {

namespace {

// Turns after the report in which files that are being closed come to their end.
constexpr Duration kLastTurns = fromMilliseconds(300);
constexpr Duration kLastTurn = fromMilliseconds(5);

constexpr const char* kOwnProgram = "/proc/self/exe";

int tell(int status, const std::string& text) { return sonmere::tell("run", status, text); }

// As this process was started.
std::vector<std::string> ownArguments() {
  std::ifstream file("/proc/self/cmdline", std::ios::binary);
  std::vector<std::string> words;
  for (std::string word; std::getline(file, word, '\0');) words.push_back(word);
  return words;
}

// A writer without a reader, of standard output or of a socket, is told so by its write. Not ignored, which
// programs that are started would inherit.
void outliveReaders() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &action, nullptr);
}

// Keeps the library up to date while the run goes on, and tells when recordings go elsewhere than chosen.
class LibraryUpkeep {
 public:
  using Tell = std::function<void(const std::string& text)>;

  LibraryUpkeep(RecordingsLibrary& library, FileDescriptorWatcher& watcher, Tell tell)
      : library_(library), tell_(std::move(tell)) {
    unavailable_ = library.folderUnavailable.observe([this](bool isUnavailable) { show(isUnavailable); });
    show(*library.folderUnavailable);
    auto watch = InotifyFolderWatch::create(watcher);
    if (!watch) tell_(watch.error().description);
    library.startWatching(watch ? std::move(*watch) : nullptr);
  }
  ~LibraryUpkeep() { library_.stopWatching(); }
  LibraryUpkeep(const LibraryUpkeep&) = delete;
  LibraryUpkeep& operator=(const LibraryUpkeep&) = delete;

 private:
  void show(bool isUnavailable) const {
    if (isUnavailable) tell_(recordingsFolderUnavailableText(library_.defaultFolder()));
  }

  RecordingsLibrary& library_;
  const Tell tell_;
  Subscription unavailable_;
};

// One run of the application, from its parts to its exit status. While it goes on, nothing that it prints
// waits for a reader.
class RunSession {
 public:
  explicit RunSession(RunRequest request) : request_(std::move(request)) {
    outliveReaders();
    log_.addSink(logLines(errors_, request_.verbose ? LogLevel::info : LogLevel::warning));
  }

  int run() {
    RealtimeTimeLimit::install();
    const int status = serve();
    lock_.reset();
    if (isToStartAnew_ && ending_) return startAnew();
    return ending_ ? conclude() : status;
  }

 private:
  // What is told at the end, when everything has been given back.
  struct Ending {
    RunReport report;
    std::string text;
  };

  int serve() {
    if (const auto text = foreignHomeText()) return tell(kExitFailure, *text);
    const ControlFolder folder = chooseControlFolder();
    auto lock = InstanceLock::take(folder.path);
    if (!lock) return tell(kExitFailure, lock.error().description);
    lock_ = std::move(*lock);
    if (folder.note) say(*folder.note);
    const PlatformChoice platform(runtime_, log_, platformWish());
    takeUpReplacement(log_, defaultSettingsPath(), runtime_.wallTime());
    FileSettingsStore stored(runtime_, log_, defaultSettingsPath());
    if (const auto& error = stored.loadError()) return tell(kExitFailure, error->description);
    // What is tried out on an invented machine says nothing about the real one.
    DetachedSettings ofThisRun(stored);
    if (request_.options.demoApps) ofThisRun.set("sonmere.volumeMixer.isEnabled", true);
    SettingsStore& settings = platform.embedded() ? static_cast<SettingsStore&>(ofThisRun) : stored;
    // A run for some seconds, on a server inside this process, or out of a build tree is no sign that the
    // user wants it always; a service starts by itself.
    const bool registersLoginItem = !platform.embedded() && !request_.options.seconds &&
                                    isInstalledProgram() && !ServiceNotices::isService();
    ToneFerryApp app({runtime_, log_, settings, platform.platform(), userFolders(), createAudioFile,
                      request_.folder, registersLoginItem, platform.embedded() ? nullptr : driver_.get()});
    return runOn(platform, app);
  }

  // The demo apps play on the embedded server only.
  PlatformWish platformWish() const {
    const bool isOpen = request_.platform == PlatformWish::automatic;
    return isOpen && request_.options.demoApps ? PlatformWish::simulated : request_.platform;
  }

  int runOn(const PlatformChoice& platform, ToneFerryApp& app) {
    auto watcher = FileDescriptorWatcher::create(runtime_.mainQueue());
    if (!watcher) return tell(kExitFailure, watcher.error().description);
    watcher_ = std::move(*watcher);
    ForegroundRun run(runtime_, app, platform, request_.options);
    if (const auto prepared = run.prepare(); !prepared)
      return tell(kExitBadInput, prepared.error().description);
    signals_.emplace();
    if (const auto told = signals_->tell(*watcher_, [&](int) { run.quit(); }); !told)
      return tell(kExitFailure, told.error().description);
    const auto restart = [&] {
      isToStartAnew_ = true;
      run.quit();
    };
    Control control(
        app, platform, [&] { run.quit(); }, restart);
    std::unique_ptr<ControlServer> server;
    if (request_.hasControl) {
      auto started = startServer(control);
      if (!started) return tell(kExitFailure, started.error().description);
      server = std::move(*started);
    }
    const DesktopPresence desktop(runtime_, log_, *watcher_, control, request_.hasControl);
    UpdateWatch updates(runtime_, log_, app.context().settings,
                        [feed = updateFeed()] { return fetchUpdate(feed); });
    const Subscription news = updates.offer.observe([&desktop](const auto& offer) {
      if (offer) desktop.tell("Sonmere " + offer->version + " is there", offer->notes + "\n" + offer->url);
    });
    const LibraryUpkeep upkeep(*app.recordingsLibrary(), *watcher_, [this](const auto& text) { say(text); });
    ServiceNotices notices(runtime_);
    app.appDelegate().applicationDidFinishLaunching(request_.isAtLogin, nullptr);
    notices.ready();
    RunReport report = play(run, platform);
    // A service that says it ends may not go on.
    if (!isToStartAnew_) notices.stopping();
    std::string text = request_.json ? runJSONText(platform, report) : runTableText(report);
    ending_ = {std::move(report), std::move(text)};
    letFilesEnd(app);
    return kExitSuccess;
  }

  Outcome<std::unique_ptr<ControlServer>> startServer(Control& control) {
    auto endpoint = ControlEndpoint::open(*lock_);
    if (!endpoint) return std::unexpected(endpoint.error());
    return ControlServer::start(runtime_, log_, *watcher_, control, std::move(*endpoint));
  }

  RunReport play(ForegroundRun& run, const PlatformChoice& platform) {
    std::optional<RunReport> result;
    const auto done = [&](const RunReport& report) {
      result = report;
      runtime_.stop();
    };
    const auto ready = [&] {
      if (!request_.json) output_.write(runReadyText(platform, run.report()));
    };
    runtime_.mainQueue().post([&] { run.start({[&] { say(runWaitingText(platform)); }, ready, done}); });
    while (!result) runtime_.run();
    return std::move(*result);
  }

  // A line on standard error.
  void say(const std::string& text) { errors_->write(fmt::format("sonmere run: {}\n", printable(text))); }

  // From here on a signal ends the process, which has nothing left to lose, even where nobody reads.
  int conclude() {
    const int signal = signals_->received();
    signals_.reset();
    output_.flush(LineWriter::kLastWait);
    errors_->flush(LineWriter::kLastWait);
    fmt::print("{}", ending_->text);
    for (const std::string& error : ending_->report.errors) tell(kExitFailure, error);
    // A service that was told to end has done what it should.
    if (signal != 0 && signal != SIGTERM) return kExitSignalled + signal;
    return ending_->report.errors.empty() ? kExitSuccess : kExitFailure;
  }

  // The same process again, so that whoever started it has the one that it knows.
  int startAnew() {
    if (signals_->received() != 0) return conclude();
    signals_.reset();
    output_.flush(LineWriter::kLastWait);
    errors_->flush(LineWriter::kLastWait);
    const auto words = ownArguments();
    std::vector<char*> pointers;
    for (const std::string& word : words) pointers.push_back(const_cast<char*>(word.c_str()));
    pointers.push_back(nullptr);
    std::error_code ignored;
    execv(std::filesystem::read_symlink(kOwnProgram, ignored).c_str(), pointers.data());
    execv(kOwnProgram, pointers.data());  // its file was replaced meanwhile
    return tell(kExitFailure, posixError(errno, "start anew").description);
  }

  // Tearing down would wait for a write that hangs for as long as the drive likes.
  void letFilesEnd(const ToneFerryApp& app) {
    const Duration limit = runtime_.uptime() + kLastTurns;
    const ScopedTask look = runtime_.mainQueue().repeat(kLastTurn, [&] {
      if (!app.isWriting() || runtime_.uptime() > limit) runtime_.stop();
    });
    if (app.isWriting()) runtime_.run();
    if (app.isWriting()) endAtOnce(conclude());
  }

  const RunRequest request_;
  LineWriter output_{STDOUT_FILENO};
  const std::shared_ptr<LineWriter> errors_ = std::make_shared<LineWriter>(STDERR_FILENO);
  Log log_;  // written to until the runtime's threads have ended
  LiveRuntime runtime_;
  const std::unique_ptr<DriverInstaller> driver_ = userDriver();
  std::optional<InstanceLock> lock_;
  std::unique_ptr<FileDescriptorWatcher> watcher_;
  std::optional<StopSignals> signals_;
  std::optional<Ending> ending_;
  bool isToStartAnew_ = false;
};

// What the run itself will find in the settings.
TrackNames savedTrackNames() {
  const auto user = UserLibrary::open([](const std::string& warning) { tell(kExitSuccess, warning); });
  return user ? (*user)->trackNames() : TrackNames{};
}

}  // namespace

int runRunCommand(const RunArguments& arguments) {
  auto request = parseRun(arguments, savedTrackNames);
  if (!request) return tell(kExitBadInput, request.error().description);
  for (const std::string& note : request->notes) tell(kExitSuccess, note);
  returnFreedMemory();
  return RunSession(std::move(*request)).run();
}

}  // namespace sonmere
