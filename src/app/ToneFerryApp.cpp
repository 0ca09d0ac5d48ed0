#include "app/ToneFerryApp.h"

#include <algorithm>

#include "app/LoginItemRule.h"

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
  micEngine_.release();
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

std::shared_ptr<RecordingSources> ToneFerryApp::makeRecordingSources() {
  auto sources = std::make_shared<RecordingSources>(
      recordingContext_, *recordings(), [this] { return appTapEngine()->outputs().isRunning(kBridgeBus); });
  sources->add({"the microphone", [this] { return micEngine()->isRunning(); },
                [this](bool on) { micEngine()->setEnabled(on); }});
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
    applyLoginItemRule(environment_.platform.loginItem(), environment_.settings, environment_.log);
  driverManager_.launch();
  // The routed apps first: the mixer steps aside for them.
  appTapEngine()->start();
  applyDualMono();
  volumeMixerEngine()->attach(appTapEngine());
  micEngine()->launch();
  inputPinEngine()->launch();
  monitorOutput()->launch();
  routeRecovery_.attach({&micEngine()->isEnabled, &volumeMixerEngine()->isEnabled, &context_.monitors.isOn});
  routeRecovery_.revalidateSoon();
  performanceMonitor_.start(appTapEngine()->availableApps, volumeMixerEngine()->heardBundleIDs);
}

bool ToneFerryApp::isWriting() const {
  return std::ranges::any_of(writers_, [](const auto& writer) { return !writer.expired(); });
}

}  // namespace sonmere
