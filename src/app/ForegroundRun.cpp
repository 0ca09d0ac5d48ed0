#include "app/ForegroundRun.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <filesystem>

#include "app/DemoPieces.h"
#include "audio/device/BusName.h"
#include "audio/file/AudioFileReader.h"
#include "dsp/RingReport.h"

namespace sonmere {

namespace {

// What is coming up is looked for again this often, for this long; a server that is not there by then, less
// often.
constexpr Duration kReadyCheck = fromMilliseconds(20);
constexpr Duration kReadyLimit = std::chrono::seconds(10);
constexpr Duration kServerCheck = fromMilliseconds(500);
// A connection is made in less.
constexpr Duration kPatience = std::chrono::seconds(1);
// A server that has just started has no default device yet; without one apps can be routed all the same.
constexpr Duration kSessionTimeout = std::chrono::seconds(5);

bool isSameText(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

}  // namespace

ForegroundRun::ForegroundRun(Runtime& runtime, ToneFerryApp& app, const PlatformChoice& platform,
                             RunOptions options)
    : runtime_(runtime),
      app_(app),
      platform_(platform),
      options_(std::move(options)),
      pendingRoutes_(options_.routes),
      pendingVolumes_(options_.volumes),
      pendingRecordings_(options_.recordedBuses.begin(), options_.recordedBuses.end()) {}

Outcome<void> ForegroundRun::prepare() {
  if (!options_.recordedBuses.empty())
    if (auto folder = app_.recordingsLibrary()->recordingsFolder(); !folder)
      return std::unexpected(folder.error());
  if (!options_.demoApps) return {};
  if (!platform_.embedded())
    return std::unexpected(Error{"Run", 2,
                                 "--demo-apps: demo apps play on the embedded server only, and this is " +
                                     platform_.name() + "; use --platform simulated"});
  const auto pieces = demoPieces();
  if (!pieces) return std::unexpected(pieces.error());
  for (const DemoPiece& piece : *pieces) {
    auto launched = platform_.embedded()->launchApp(piece.id, piece.file, true,
                                                    [this](const Error& error) { note(error.description); });
    if (!launched) return launched;
    demoApps_.push_back(piece.id);
  }
  return {};
}

void ForegroundRun::start(Events events) {
  events_ = std::move(events);
  if (quitsAtStart_) return quit();
  startedAt_ = runtime_.uptime();
  observe();
  look();
}

void ForegroundRun::observe() {
  AppTapEngine& engine = *app_.appTapEngine();
  BusRecordings& recordings = *app_.recordings();
  observers_.push_back(engine.availableApps.observe([this](const auto&) { lookSoon(); }));
  observers_.push_back(engine.errorMessage().observe([this](const auto& text) {
    if (text) note(*text);
  }));
  observers_.push_back(app_.volumeMixerEngine()->errorMessage.observe([this](const auto& text) {
    if (text) note(*text);
  }));
  observers_.push_back(recordings.errorMessage.observe([this](const auto& text) {
    if (!text.empty()) note(text);
  }));
  observers_.push_back(recordings.busRecordingStatuses.observe([this](const auto& rows) {
    for (const auto& [bus, status] : rows) recordings_[{status.startedAt, bus}] = status;
  }));
  observers_.push_back(platform_.platform().powerEvents().observeWillTerminate([this] { quit(); }));
}

void ForegroundRun::lookSoon() {
  if (!lookTask_)
    lookTask_ = runtime_.mainQueue().postAfter(Duration::zero(), [this] {
      lookTask_ = {};
      look();
    });
}

void ForegroundRun::look() {
  if (isFinishing_) return;
  if (!isStarted() || (!isReady_ && !(serverAnswers() && demoAppsAppeared()))) return lookAgain();
  applyWishes();
  startRecordings();
  if (!isReady_) becomeReady();
}

void ForegroundRun::lookAgain() {
  const bool isComing = isStarted_ || answersSince_ || runtime_.uptime() - startedAt_ < kReadyLimit;
  readyCheck_ = runtime_.mainQueue().postAfter(isComing ? kReadyCheck : kServerCheck, [this] { look(); });
}

bool ForegroundRun::isStarted() {
  if (isStarted_) return true;
  if (!serverAnswers()) {
    answersSince_.reset();
    if (runtime_.uptime() - startedAt_ > kPatience && !std::exchange(isWaitTold_, true)) events_.waiting();
    return false;
  }
  if (!answersSince_) answersSince_ = runtime_.uptime();
  if (!platform_.hasSession() && runtime_.uptime() - *answersSince_ < kSessionTimeout) return false;
  isStarted_ = true;
  limit_ = runtime_.mainQueue().postAfter(kReadyLimit, [this] { giveUp(); });
  app_.startUp();
  return true;
}

bool ForegroundRun::serverAnswers() { return platform_.platform().hardware().processObjects().has_value(); }

bool ForegroundRun::demoAppsAppeared() const {
  return std::ranges::all_of(demoApps_, [this](const std::string& id) { return rowFor(id) != nullptr; });
}

const TappedAppInfo* ForegroundRun::rowFor(const std::string& app) const {
  const auto& rows = *app_.appTapEngine()->availableApps;
  if (const TappedAppInfo* row = app_.appTapEngine()->row(app)) return row;
  const auto found = std::ranges::find_if(rows, [&](const TappedAppInfo& row) {
    return isSameText(row.bundleID, app) || isSameText(row.name, app);
  });
  return found == rows.end() ? nullptr : &*found;
}

void ForegroundRun::applyWishes() {
  std::erase_if(pendingVolumes_, [this](const RunOptions::Volume& volume) {
    if (const TappedAppInfo* row = rowFor(volume.app)) setVolume(std::string(row->bundleID), volume);
    return rowFor(volume.app) != nullptr;
  });
  std::erase_if(pendingRoutes_, [this](const RunOptions::Route& route) {
    const TappedAppInfo* row = rowFor(route.app);
    if (row) applyRoute(std::string(row->bundleID), route);
    return row != nullptr;
  });
}

// That of its route for an app that is routed or is to be, else that of the mixer.
void ForegroundRun::setVolume(const std::string& id, const RunOptions::Volume& volume) {
  const bool isToBeRouted = std::ranges::any_of(options_.routes, [&](const RunOptions::Route& route) {
    const TappedAppInfo* row = rowFor(route.app);
    return route.bus && row && row->bundleID == id;
  });
  if (isToBeRouted || app_.appTapEngine()->tapOf(id))
    app_.appTapEngine()->setVolume(id, volume.gain);
  else
    app_.volumeMixerEngine()->setVolume(id, volume.gain);
}

void ForegroundRun::applyRoute(const std::string& id, const RunOptions::Route& route) {
  AppTapEngine& engine = *app_.appTapEngine();
  if (!route.bus) {
    engine.setRouted(id, false);
    return;
  }
  engine.setBus(id, *route.bus);
  if (!engine.setRouted(id, true))
    note(fmt::format("{} could not be routed to {}: {}", id, busLabel(*route.bus),
                     engine.errorMessage()->value_or("its tap could not be made")));
}

// A bus that nothing renders would have its recording taken for stalled, so each begins with its first app.
// Those that begin together are one session.
void ForegroundRun::startRecordings() {
  std::vector<int> ready;
  std::erase_if(pendingRecordings_, [&](int bus) {
    if (!app_.appTapEngine()->isBusRunning(bus)) return false;
    ready.push_back(bus);
    return true;
  });
  app_.recordings()->startRecordings(ready);
}

void ForegroundRun::becomeReady() {
  isReady_ = true;
  readyCheck_.cancel();
  limit_.cancel();
  if (platform_.embedded()) platform_.embedded()->playAll();
  if (options_.seconds)
    limit_ = runtime_.mainQueue().postAfter(fromSeconds(*options_.seconds), [this] { quit(); });
  events_.ready();
}

void ForegroundRun::giveUp() {
  note(serverAnswers() ? "the demo apps did not appear on the audio server"
                       : fmt::format("the {} audio server does not answer", platform_.name()));
  quit();
}

void ForegroundRun::note(const std::string& error) {
  if (std::ranges::find(errors_, error) == errors_.end()) errors_.push_back(error);
}

void ForegroundRun::quit() {
  quitsAtStart_ = true;
  if (!events_.done || std::exchange(isFinishing_, true)) return;
  readyCheck_.cancel();
  limit_.cancel();
  const auto reply = app_.appDelegate().applicationShouldTerminate([this] { finish(); });
  if (reply == TerminateReply::now) finish();
}

void ForegroundRun::finish() {
  const RunReport result = report();
  if (platform_.embedded()) platform_.embedded()->stopAll();
  events_.done(result);
}

RunReport ForegroundRun::report() const {
  RunReport report;
  const AppTapEngine& engine = *app_.appTapEngine();
  for (const TappedAppInfo& row : *engine.availableApps) {
    const VolumeMixerAppState mixed = app_.volumeMixerEngine()->appState(row.bundleID);
    RunReport::App app{
        row.bundleID, row.name, !row.audioObjectIDs.empty(), {}, mixed.volume, mixed.isMuted, 0, 0, 0};
    if (const auto tap = engine.tapOf(row.bundleID)) {
      const double rate = engine.busSampleRate(tap->busIndex);
      const RingReport ring = ringReport(row.bundleID, tap->ring, rate);
      app.bus = tap->busIndex;
      app.volume = row.volume;
      app.isMuted = row.isMuted;
      app.addedDelayMs = ring.backlogMs;
      app.underruns = ring.underruns;
      app.leftOutMs = stereoMilliseconds(2 * tap->leftOutFrames(), rate);
    }
    report.apps.push_back(std::move(app));
  }
  for (const RunOptions::Route& route : options_.routes) {
    const TappedAppInfo* row = rowFor(route.app);
    const auto tap = row ? engine.tapOf(row->bundleID) : nullptr;
    const bool isAsAsked = route.bus ? tap && tap->busIndex == *route.bus : row && !tap;
    report.routes.push_back({route.app, route.bus, isAsAsked});
  }
  std::error_code ignored;
  for (const auto& [key, status] : recordings_)
    if (std::filesystem::exists(status.path, ignored)) report.recordings.push_back(describe(status));
  report.errors = errors_;
  return report;
}

// The length is what the file says, not the recorder.
RunReport::Recording ForegroundRun::describe(const BusRecordingStatus& status) const {
  RunReport::Recording recording{status.busIndex, status.path, status.framesWritten,
                                 app_.appTapEngine()->busSampleRate(status.busIndex), status.lostFrames};
  if (const auto reader = openAudioFile(status.path)) {
    recording.frames = (*reader)->frameCount();
    recording.sampleRate = (*reader)->format().sampleRate;
  }
  return recording;
}

}  // namespace sonmere
