#include "app/Demo.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <set>

#include "app/PlatformFolders.h"
#include "audio/device/BusName.h"
#include "audio/effects/EffectControlText.h"
#include "audio/file/AudioFileReader.h"
#include "audio/file/ReaderError.h"
#include "dsp/Level.h"
#include "dsp/VectorMath.h"
#include "recording/RecordingFileName.h"

namespace sonmere {

namespace {

// Programs and processes have shown up by then.
constexpr Duration kDiscoveryTime = fromMilliseconds(300);
constexpr Duration kLevelInterval = fromMilliseconds(100);

}  // namespace

Demo::Demo(Runtime& runtime, Log& log, const DemoOptions& options)
    : options_(options), runtime_(runtime), embedded_(runtime, log) {
  embedded_.plugDemoOutputs();
  settings_.set(kRecordingBitDepthKey, name(options.bitDepth));
  app_ = std::make_unique<ToneFerryApp>(ToneFerryApp::Environment{
      runtime, log, settings_, embedded_.platform(), Folders{options.folder, userFolders().defaultRecordings},
      options.createFile, options.folder, false});
  recordingFailures_ = recordings().errorMessage.observe([this](const std::string& message) {
    if (!message.empty()) fail(message);
  });
}

Outcome<std::unique_ptr<Demo>> Demo::prepare(Runtime& runtime, Log& log, const DemoOptions& options) {
  std::unique_ptr<Demo> demo(new Demo(runtime, log, options));
  for (const DemoOptions::App& app : options.apps)
    if (auto launched = demo->launch(app); !launched) return std::unexpected(launched.error());
  if (auto plugged = demo->plugMicrophone(); !plugged) return std::unexpected(plugged.error());
  if (auto folder = demo->app_->recordingsLibrary()->recordingsFolder(); !folder)
    return std::unexpected(folder.error());
  return demo;
}

Outcome<void> Demo::launch(const DemoOptions::App& app) {
  return embedded_.launchApp(app.id, app.file, app.loop, [this, id = app.id](const Error& error) {
    note("\"" + id + "\" stopped playing: " + error.description);
  });
}

Outcome<void> Demo::plugMicrophone() {
  if (!options_.microphone) return {};
  auto uid = embedded_.plugMicrophone(options_.microphone->file, [this](const Error& error) {
    note("the microphone fell silent: " + error.description);
  });
  if (!uid) return std::unexpected(uid.error());
  microphone_ = std::move(*uid);
  return {};
}

// Once all that hears it is there.
void Demo::startMicrophone() {
  if (microphone_.empty()) return;
  MicPassthroughEngine& mic = *app_->micEngine();
  mic.launch();
  mic.select(microphone_);
  mic.setCustomChannels(options_.microphone->channels);
  mic.setChannelMode(options_.microphone->mode);
  mic.setEnabled(true);
  if (const auto& message = *mic.errorMessage) fail("the microphone: " + *message);
}

void Demo::start(Done done) {
  done_ = std::move(done);
  addPlugins(0);
}

// Tried and in their chains before the first app is heard.
void Demo::addPlugins(std::size_t next) {
  if (finishing_) return;
  if (next == options_.plugins.size()) return listen();
  const DemoOptions::Plugin& plugin = options_.plugins[next];
  app_->pluginChains().add(
      plugin.scope, plugin.id, std::nullopt, [this, next](const Outcome<EffectDetails>& added) {
        const Outcome<void> set =
            added ? setControls(options_.plugins[next], *added) : std::unexpected(added.error());
        if (!set) return fail("--plugin " + options_.plugins[next].id + ": " + set.error().description);
        addPlugins(next + 1);
      });
}

// Of the plug-in that is the last of its chain.
Outcome<void> Demo::setControls(const DemoOptions::Plugin& plugin, const EffectDetails& details) {
  PluginChain& chain = app_->pluginChains().chain(plugin.scope);
  for (const auto& [name, text] : plugin.values) {
    const auto control = findControl(details, name);
    if (!control) return std::unexpected(control.error());
    const auto value = readControlValue(*control, text);
    if (!value) return std::unexpected(value.error());
    chain.setControl(chain.plugins().size() - 1, control->symbol, *value);
  }
  return {};
}

void Demo::listen() {
  engine().start();
  end_ = runtime_.mainQueue().postAfter(kDiscoveryTime, [this] {
    route();
    begin();
  });
}

void Demo::route() {
  for (const DemoOptions::App& app : options_.apps) {
    engine().setVolume(app.id, app.volume);
    if (app.equaliser) engine().effects().setAppEqualiser(app.id, *app.equaliser, SettingForm::final);
    if (app.ceilingDb) engine().effects().setAppLimiter(app.id, {true, *app.ceilingDb}, SettingForm::final);
    if (!app.bus) continue;
    engine().setOutput(app.id, app.output);
    engine().setBus(app.id, *app.bus);
    engine().setRouted(app.id, true);
  }
}

void Demo::begin() {
  std::set<int> buses;
  for (const DemoOptions::App& app : options_.apps) {
    if (!app.bus) continue;
    const auto tap = engine().tapOf(app.id);
    if (!tap || tap->isOnDevice() == app.output.deviceUID.empty()) return fail(routeFailure(app));
    if (!tap->isOnDevice()) buses.insert(*app.bus);
  }
  setLayout();
  if (options_.layout) buses.insert(kBridgeBus);
  if (options_.hasSystemAudio) buses.insert(kBridgeBus);
  if (options_.microphone) {
    buses.insert(kBridgeBus);
    for (const auto& [bus, volume] : options_.microphone->sends) {
      buses.insert(bus);
      engine().setMicSend(bus, volume);
    }
  }
  // Whose file it has only while it runs.
  if (options_.layout) startMicrophone();
  if (finishing_) return;
  recordings().startRecordings(std::vector(buses.begin(), buses.end()));
  if (finishing_) return;
  for (const auto& [source, status] : *recordings().busRecordingStatuses)
    recordedPaths_[source] = status.path;
  beginHearing();
  if (!options_.layout) startMicrophone();
  embedded_.playAll();
  playingSince_ = runtime_.uptime();
  levels_ = runtime_.mainQueue().repeat(kLevelInterval, [this] { sampleLevels(); });
  end_ = runtime_.mainQueue().postAfter(fromSeconds(options_.seconds), [this] { finish(); });
}

// Before what follows it is switched on.
void Demo::setLayout() {
  if (!options_.layout) return;
  app_->dualMonoEngine()->setLayout(*options_.layout);
  engine().setDualMono(*app_->dualMonoEngine()->isEnabled);
}

void Demo::beginHearing() {
  const Date session = sessionDate();
  startSystem();
  if (!options_.monitored.empty()) startMonitor();
  if (!options_.monitored.empty() || options_.hasSystemAudio || options_.isMixed)
    record({EmbeddedPlatform::outputs().front().uid}, session);
  for (const DemoOptions::App& app : options_.apps)
    if (app.bus && !app.output.deviceUID.empty()) record(app.output, session);
}

void Demo::startSystem() {
  if (!options_.monitored.empty() || options_.isMixed) app_->monitorOutput()->launch();
  if (options_.hasSystemAudio) {
    app_->systemAudioEngine()->launch();
    app_->systemAudioEngine()->select(EmbeddedPlatform::outputs().front().uid);
    app_->systemAudioEngine()->setEnabled(true);
    if (const auto& message = *app_->systemAudioEngine()->errorMessage) fail("system audio: " + *message);
  }
  if (!options_.isMixed) return;
  app_->launchMixMode();
  app_->mixModeEngine()->setIncludeSystemAudio(true);
  app_->mixModeEngine()->setEnabled(true);
}

void Demo::startMonitor() {
  RoutingMonitors& monitors = engine().monitors();
  for (const auto& [scope, volume] : options_.monitored) {
    if (scope.kind == PluginScope::Kind::mic) {
      app_->micEngine()->setMonitorVolume(volume.value_or(1));
      app_->micEngine()->setHearMic(true);
    } else if (scope.kind == PluginScope::Kind::bus) {
      monitors.setMasterGain(scope.bus, volume.value_or(1));
      monitors.setMasterMonitored(scope.bus, true);
    } else {
      if (volume) engine().setMonitorLinked(scope.app, false), engine().setMonitorVolume(scope.app, *volume);
      monitors.setMonitored(scope.app, true);
    }
  }
}

// That of the buses' recordings, if there are any.
Date Demo::sessionDate() const {
  if (recordedPaths_.empty()) return runtime_.wallTime();
  const std::string name = std::filesystem::path(recordedPaths_.begin()->second).filename();
  const auto parts = parseRecordingName(name);
  return parts ? dateOfStamp(parts->stamp).value_or(runtime_.wallTime()) : runtime_.wallTime();
}

void Demo::record(const OutputWish& place, Date session) {
  if (finishing_ || std::ranges::find(heard_, place, &Heard::place) != heard_.end()) return;
  const auto ear = embedded_.listen(place.deviceUID, place.left, place.right);
  const std::string pair =
      place.left == 0 && place.right == 1 ? "" : fmt::format(" {}-{}", place.left + 1, place.right + 1);
  RecorderFile::Request request{"HeardRecording",
                                "sonmere.heard.write",
                                RecordingFormat::wav,
                                ear.sampleRate,
                                "Sonmere " + EmbeddedPlatform::nameOf(place.deviceUID) + pair,
                                options_.folder};
  request.sessionDate = session;
  auto made = HeardRecording::create(app_->recordingContext(), request, ear.take);
  if (!made) return fail(made.error().description);
  heard_.push_back({place, std::move(*made)});
}

void Demo::sampleLevels() {
  for (const Heard& each : heard_) each.recording->take();
  for (const DemoOptions::App& app : options_.apps)
    if (const auto tap = engine().tapOf(app.id))
      peakLevels_[app.id] = std::max(peakLevels_[app.id], tap->level.load());
}

std::string Demo::routeFailure(const DemoOptions::App& app) {
  const std::string& device = app.output.deviceUID;
  return fmt::format("the app \"{}\" could not be routed to {}: {}", app.id,
                     device.empty() ? busLabel(*app.bus) : EmbeddedPlatform::nameOf(device),
                     engine().errorMessage()->value_or("it has no row of its own"));
}

void Demo::note(const std::string& problem) {
  if (!report_.problem) report_.problem = problem;
}

void Demo::fail(const std::string& problem) {
  note(problem);
  finish();
}

void Demo::finish() {
  if (std::exchange(finishing_, true)) return;
  levels_.cancel();
  end_.cancel();
  for (const DemoOptions::App& app : options_.apps) report_.apps.push_back(describe(app));
  report_.latency = app_->latencyProbe().report();
  if (const auto& message = *engine().errorMessage()) note(*message);
  if (const auto& message = *app_->pluginChains().errorMessage) note(*message);
  if (const auto& message = *app_->monitorOutput()->errorMessage) note("the monitor: " + *message);
  // Side by side: a drive that hangs holds both up.
  for (const Heard& each : heard_) each.recording->stop([this] { ended(); });
  recordings().stopAllRecordings([this](const auto&) { ended(); });
}

void Demo::quit() {
  app_->flushDeadline()->set(runtime_.uptime() + FlushDeadline::kQuitTime);
  finish();
}

bool Demo::isWriting() const { return app_->isWriting(); }

DemoReport::App Demo::describe(const DemoOptions::App& app) const {
  DemoReport::App row{app.id, std::nullopt, "", meterLevelDb(0), app.volume, 0, 0};
  if (const TappedAppInfo* info = engine().row(app.id)) row.volume = info->volume;
  if (const auto level = peakLevels_.find(app.id); level != peakLevels_.end())
    row.peakLevelDb = meterLevelDb(level->second);
  const auto tap = engine().tapOf(app.id);
  if (!tap) return row;
  row.bus = tap->busIndex;
  row.output = engine().outputDeviceName(app.id).value_or(row.output);
  const RingReport ring = ringReport(app.id, tap->ring, engine().sampleRateOf(*tap));
  row.addedDelayMs = ring.backlogMs;
  row.underruns = ring.underruns;
  return row;
}

std::optional<DemoReport::File> Demo::measure(const std::string& path, int source) {
  auto file = read(path, source);
  if (file) return std::move(*file);
  note(file.error().description);
  return std::nullopt;
}

// What the files hold is read back from them, not taken from the recorders' word.
Outcome<DemoReport::File> Demo::read(const std::string& path, int source) const {
  const double rate = engine().busSampleRate(std::max(source, kBridgeBus));
  DemoReport::File file{source, path, "wav", name(options_.bitDepth), 0, rate, 0};
  auto reader = openAudioFile(path);
  if (!reader && isFault(reader.error(), ReaderFault::noAudio)) return file;
  if (!reader) return std::unexpected(reader.error());
  const PCMFormat format = (*reader)->format();
  file.format = (*reader)->container();
  file.sampleRate = format.sampleRate;
  constexpr std::uint32_t kBlock = 4096;
  std::vector<float> block(std::size_t(kBlock) * format.channels);
  while (true) {
    const auto frames = (*reader)->read(block.data(), kBlock);
    if (!frames) return std::unexpected(frames.error());
    if (*frames == 0) return file;
    file.frames += *frames;
    file.peak = std::max(file.peak, maxMagnitude(block.data(), std::size_t(*frames) * format.channels));
  }
}

void Demo::ended() {
  if (++ends_ == int(heard_.size()) + 1) collect();
}

void Demo::collect() {
  embedded_.stopAll();
  for (const auto& [source, path] : recordedPaths_)
    if (auto file = measure(path, source)) report_.files.push_back(std::move(*file));
  for (const auto& [place, recording] : heard_)
    if (auto file = measure(recording->path(), kBridgeBus))
      report_.heard.push_back({place.deviceUID, EmbeddedPlatform::nameOf(place.deviceUID), place.left + 1,
                               place.right + 1, std::move(*file)});
  done_(report_);
}

double Demo::progress() const {
  if (!playingSince_) return 0;
  return std::clamp(toSeconds(runtime_.uptime() - *playingSince_) / options_.seconds, 0.0, 1.0);
}

}  // namespace sonmere
