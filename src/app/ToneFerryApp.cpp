#include "app/ToneFerryApp.h"

#include <algorithm>

#include "app/LoginItemRule.h"
#include "app/ProgramVersion.h"
#include "audio/device/CoreAudioUtils.h"
#include "recording/RecordedSource.h"

namespace sonmere {

ToneFerryApp::ToneFerryApp(Environment environment)
    : environment_(std::move(environment)),
      context_{environment_.runtime,
               environment_.log,
               environment_.settings,
               notifications_,
               environment_.platform,
               flags_,
               *micSend_,
               environment_.folders},
      recordingContext_(makeRecordingContext()),
      latencyProbe_(environment_.runtime, environment_.settings, environment_.folders.applicationSupport),
      trackNames_(std::make_shared<TrackNamesStore>(environment_.settings)),
      pluginChains_(environment_.runtime, environment_.log, environment_.settings,
                    environment_.platform.effectsHost()),
      driverManager_(context_, environment_.driver),
      routeRecovery_(context_, *trackNames_),
      appDelegate_(environment_.runtime, environment_.log, environment_.settings, notifications_),
      appTapEngine_([this] { return makeAppTapEngine(); }),
      volumeMixerEngine_([this] { return makeVolumeMixerEngine(); }),
      micEngine_([this] { return makeMicEngine(); }),
      inputPinEngine_([this] { return std::make_shared<InputPinEngine>(context_); }),
      monitorOutput_([this] { return std::make_shared<MonitorOutput>(context_); }),
      loopbacks_([this] { return makeLoopbacks(); }),
      combinedInputEngine_([this] { return std::make_shared<CombinedInputEngine>(context_); }),
      dawAggregateEngine_([this] { return std::make_shared<DAWAggregateEngine>(context_); }),
      systemAudioEngine_([this] { return makeSystemAudioEngine(); }),
      mixModeEngine_([this] { return std::make_shared<MixModeEngine>(context_); }),
      dualMonoEngine_([this] {
        return std::make_shared<DualMonoEngine>(environment_.log, environment_.settings, notifications_);
      }),
      recordingsLibrary_([this] { return std::make_shared<RecordingsLibrary>(recordingContext_); }),
      recordings_([this] { return makeRecordings(); }),
      recordingSources_([this] { return makeRecordingSources(); }),
      performanceMonitor_(environment_.runtime, latencyProbe_) {}

ToneFerryApp::~ToneFerryApp() {
  appDelegate_.wire(nullptr, nullptr, nullptr);
  dualMonoChanges_.cancel();
  recordingSources_.release();
  if (appTapEngine_.isMade()) appTapEngine_.get()->setRecordingRate(nullptr);
  // They feed from the engines that end next.
  recordings_.release();
  if (const MicPassthroughEngine* mic = micEngine_.peek()) latencyProbe_.removeSource(*mic);
  loopbackReasons_.clear();
  loopbacks_.release();
  mixModeReasons_.clear();
  mixModeEngine_.release();
  // Before whatever plays on the default output: that is the user's again.
  systemAudioEngine_.release();
  micEngine_.release();
  combinedInputEngine_.release();
  dawAggregateEngine_.release();
  inputPinEngine_.release();
  monitorOutput_.release();
  if (const VolumeMixerEngine* mixer = volumeMixerEngine_.peek()) latencyProbe_.removeSource(*mixer);
  // The mixer first: with the tap engine gone it would take the routed apps over.
  volumeMixerEngine_.release();
  if (!appTapEngine_.isMade()) return;
  latencyProbe_.removeSource(*appTapEngine_.get());
}

RecordingContext ToneFerryApp::makeRecordingContext() {
  return {environment_.runtime,
          environment_.log,
          environment_.settings,
          notifications_,
          environment_.folders,
          RecordingHealth::create(environment_.runtime, environment_.log, notifications_,
                                  environment_.folders.applicationSupport),
          std::make_shared<FlushDeadline>(),
          [this](const std::string& path, const AudioFileSettings& settings) {
            std::erase_if(writers_, [](const auto& writer) { return writer.expired(); });
            auto file = environment_.createFile(path, settings);
            if (file) writers_.push_back(*file);
            return file;
          },
          &environment_.platform,
          environment_.recordingsFolder};
}

std::shared_ptr<AppTapEngine> ToneFerryApp::makeAppTapEngine() {
  auto engine = std::make_shared<AppTapEngine>(context_);
  engine->host(pluginChains_);
  latencyProbe_.addSource(*engine);
  return engine;
}

std::shared_ptr<VolumeMixerEngine> ToneFerryApp::makeVolumeMixerEngine() {
  auto engine = std::make_shared<VolumeMixerEngine>(context_, trackNames_);
  latencyProbe_.addSource(*engine);
  return engine;
}

std::shared_ptr<MicPassthroughEngine> ToneFerryApp::makeMicEngine() {
  auto engine = std::make_shared<MicPassthroughEngine>(context_);
  engine->host(pluginChains_);
  latencyProbe_.addSource(*engine);
  return engine;
}

std::shared_ptr<BusLoopbackMonitorPool> ToneFerryApp::makeLoopbacks() {
  auto pool = std::make_shared<BusLoopbackMonitorPool>(context_);
  AppTapEngine& engine = *appTapEngine();
  RoutingMonitors& monitors = engine.monitors();
  pool->isBusBusyRenderingBySonmere = [&engine](int track) { return engine.isBusRunning(busOfTrack(track)); };
  pool->wanted = [this, &monitors](int track) -> std::optional<float> {
    const int bus = busOfTrack(track);
    if (monitors.isMasterMonitored(bus)) return monitors.masterGains.get()[std::size_t(bus)];
    return mixModeEngine()->trackWish(track);
  };
  const auto look = [&pool = *pool](const auto&) { pool.update(); };
  loopbackReasons_.push_back(monitors.masterMonitorEnabledForBus.observe(look));
  loopbackReasons_.push_back(monitors.masterGains.observe(look));
  loopbackReasons_.push_back(context_.monitors.isOn.observe(look));
  loopbackReasons_.push_back(engine.busChanges().observe(look));
  return pool;
}

std::shared_ptr<SystemAudioEngine> ToneFerryApp::makeSystemAudioEngine() {
  auto engine = std::make_shared<SystemAudioEngine>(context_, kProgramVersion);
  engine->takeMicPeak = [this]() -> std::optional<float> {
    if (!micEngine()->isRunning()) return std::nullopt;
    return micEngine()->takeHeldPeak();
  };
  return engine;
}

// What the mixer plays is heard from it.
std::vector<AudioObjectID> ToneFerryApp::mixedProcesses() {
  std::vector<AudioObjectID> processes;
  for (const auto& [bundleID, tap] : volumeMixerEngine()->activeTaps())
    processes.insert(processes.end(), tap->audioObjectIDs.begin(), tap->audioObjectIDs.end());
  return processes;
}

void ToneFerryApp::launchMixMode() {
  RoutingMixMode& routing = appTapEngine()->mixMode();
  routing.capturedElsewhere = [this] { return mixedProcesses(); };
  mixModeReasons_.push_back(
      context_.notifications.observe(MixModeEngine::kChanged, [this, &routing](const NotificationInfo&) {
        routing.apply(mixModeEngine()->wish());
        loopbacks_.get()->update();
      }));
  mixModeReasons_.push_back(
      volumeMixerEngine()->heardBundleIDs.observe([&routing](const auto&) { routing.update(); }));
  mixModeEngine()->launch();
}

std::shared_ptr<BusRecordings> ToneFerryApp::makeRecordings() {
  recorderFeed_ = std::make_unique<TapEngineRecorderFeed>(*appTapEngine());
  micRecorderFeed_ = std::make_unique<MicEngineRecorderFeed>(*micEngine());
  auto recordings = std::make_shared<BusRecordings>(
      recordingContext_, *recorderFeed_, [this] { return recordingsLibrary()->recordingsFolder(); },
      micRecorderFeed_.get());
  appTapEngine()->setRecordingRate(
      [&recordings = *recordings](int bus) { return recordings.recordingRate(bus); });
  return recordings;
}

std::vector<int> ToneFerryApp::recordableSources() {
  std::vector<int> sources;
  const bool isSession = *dualMonoEngine()->layout == RecordingLayout::separateTracks;
  if (CoreAudioUtils::deviceForBus(environment_.platform.hardware(), kBridgeBus))
    sources.push_back(kBridgeBus);
  for (int bus = 0; bus < kBusCount; ++bus)
    if (bus != kBridgeBus && isRoutableBus(bus) && appTapEngine()->isBusRunning(bus)) sources.push_back(bus);
  if (!isSession && micEngine()->isRunning()) sources.push_back(kMicSource);
  std::erase_if(sources, [this](int source) { return recordings()->isRecording(source); });
  return sources;
}

std::shared_ptr<RecordingSources> ToneFerryApp::makeRecordingSources() {
  auto sources = std::make_shared<RecordingSources>(
      recordingContext_, *recordings(), [this] { return appTapEngine()->isBusRunning(kBridgeBus); });
  sources->add({"the microphone", [this] { return micEngine()->isRunning(); },
                [this](bool on) { micEngine()->setEnabled(on); }});
  // Mix Mode leads the programs there itself, and would end.
  sources->add({"system audio",
                [this] { return *systemAudioEngine()->isEnabled || *mixModeEngine()->isEnabled; },
                [this](bool on) { systemAudioEngine()->setEnabled(on); }, true});
  return sources;
}

void ToneFerryApp::applyDualMono() {
  appTapEngine()->setDualMono(*dualMonoEngine()->isEnabled);
  dualMonoChanges_ = notifications_.observe(DualMonoEngine::kChanged, [this](const auto&) {
    appTapEngine()->setDualMono(*dualMonoEngine()->isEnabled);
    micEngine()->restart();
  });
}

void ToneFerryApp::startUp() {
  appDelegate_.wire(appTapEngine(), recordings(), flushDeadline());
  if (environment_.registersLoginItem)
    applyLoginItemRule(environment_.platform.loginItem(), environment_.platform.words().whyLoginItem,
                       environment_.settings, environment_.log);
  driverManager_.launch();
  // The routed apps first: the mixer steps aside for them.
  appTapEngine()->start();
  applyDualMono();
  volumeMixerEngine()->attach(appTapEngine());
  micEngine()->launch();
  inputPinEngine()->launch();
  monitorOutput()->launch();
  loopbacks_.get()->start();
  combinedInputEngine()->launch();
  dawAggregateEngine()->launch();
  systemAudioEngine()->launch();
  launchMixMode();
  routeRecovery_.attach({&systemAudioEngine()->isEnabled, &dawAggregateEngine()->isEnabled,
                         &mixModeEngine()->isEnabled, &micEngine()->isEnabled,
                         &volumeMixerEngine()->isEnabled, &context_.monitors.isOn});
  routeRecovery_.revalidateSoon();
  recordings()->preroll().start([this] { return recordableSources(); });
  performanceMonitor_.start(appTapEngine()->availableApps, volumeMixerEngine()->heardBundleIDs);
}

bool ToneFerryApp::isWriting() const {
  return std::ranges::any_of(writers_, [](const auto& writer) { return !writer.expired(); });
}

}  // namespace sonmere
