#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/AppDelegate.h"
#include "app/LatencyProbe.h"
#include "app/Lazy.h"
#include "app/MicEngineRecorderFeed.h"
#include "app/PerformanceMonitor.h"
#include "app/TapEngineRecorderFeed.h"
#include "audio/effects/PluginChains.h"
#include "audio/engine/EngineContext.h"
#include "driver/DriverManager.h"
#include "driver/TrackNamesStore.h"
#include "input/InputPinEngine.h"
#include "input/MicPassthroughEngine.h"
#include "mixer/VolumeMixerEngine.h"
#include "recording/BusRecordings.h"
#include "recording/DualMonoEngine.h"
#include "recording/RecordingSources.h"
#include "recording/library/RecordingsLibrary.h"
#include "routing/AppTapEngine.h"
#include "routing/monitor/BusLoopbackMonitorPool.h"
#include "routing/monitor/MonitorOutput.h"
#include "system/CombinedInputEngine.h"
#include "system/DAWAggregateEngine.h"
#include "system/MixModeEngine.h"
#include "system/RouteRecoveryCoordinator.h"
#include "system/SystemAudioEngine.h"

namespace sonmere {

// The application: owns every long-lived engine, and brings them together in the start-up step. An engine is
// made when it is first asked for, and no engine's constructor needs another. Main thread.
class ToneFerryApp {
 public:
  // What the application stands on; all of it outlives the application.
  struct Environment {
    Runtime& runtime;
    Log& log;
    SettingsStore& settings;
    Platform& platform;
    Folders folders;
    AudioFileFactory createFile = createAudioFile;
    // Takes the place of the folder in the settings, which stays as it is, and of the default one.
    std::optional<std::string> recordingsFolder = std::nullopt;
    // Not on a server inside this process, whose log-in item leads nowhere.
    bool registersLoginItem = true;
    // Null where the driver is no matter of files.
    DriverInstaller* driver = nullptr;
  };

  explicit ToneFerryApp(Environment environment);
  // Everything ends: the apps play as before, unsaved settings are written. A write that hangs holds it up.
  ~ToneFerryApp();

  // The step that ties the engines to one another; once.
  void startUp();
  // Mix Mode is followed from now on, by the routing and by the Tracks that other programs feed. Once; a part
  // of `startUp`.
  void launchMixMode();

  AppDelegate& appDelegate() { return appDelegate_; }
  const std::shared_ptr<AppTapEngine>& appTapEngine() { return appTapEngine_.get(); }
  const std::shared_ptr<VolumeMixerEngine>& volumeMixerEngine() { return volumeMixerEngine_.get(); }
  const std::shared_ptr<MicPassthroughEngine>& micEngine() { return micEngine_.get(); }
  const std::shared_ptr<MonitorOutput>& monitorOutput() { return monitorOutput_.get(); }
  const std::shared_ptr<InputPinEngine>& inputPinEngine() { return inputPinEngine_.get(); }
  const std::shared_ptr<SystemAudioEngine>& systemAudioEngine() { return systemAudioEngine_.get(); }
  const std::shared_ptr<MixModeEngine>& mixModeEngine() { return mixModeEngine_.get(); }
  const std::shared_ptr<DAWAggregateEngine>& dawAggregateEngine() { return dawAggregateEngine_.get(); }
  const std::shared_ptr<CombinedInputEngine>& combinedInputEngine() { return combinedInputEngine_.get(); }
  const std::shared_ptr<BusRecordings>& recordings() { return recordings_.get(); }
  const std::shared_ptr<DualMonoEngine>& dualMonoEngine() { return dualMonoEngine_.get(); }
  // What a recording of the bridge has switched on for itself.
  const std::shared_ptr<RecordingSources>& recordingSources() { return recordingSources_.get(); }
  LatencyProbe& latencyProbe() { return latencyProbe_; }
  const std::shared_ptr<RecordingsLibrary>& recordingsLibrary() { return recordingsLibrary_.get(); }
  const std::shared_ptr<RecordingHealth>& recordingHealth() const { return recordingContext_.health; }
  const std::shared_ptr<FlushDeadline>& flushDeadline() const { return recordingContext_.flushDeadline; }
  // What recorders of this program stand on.
  const RecordingContext& recordingContext() const { return recordingContext_; }
  TrackNamesStore& trackNames() { return *trackNames_; }
  DriverManager& driverManager() { return driverManager_; }
  RouteRecoveryCoordinator& routeRecovery() { return routeRecovery_; }
  PluginChains& pluginChains() { return pluginChains_; }
  EngineContext& context() { return context_; }
  NotificationCenter& notifications() { return notifications_; }
  // Whether a recording's file is still open: a write hangs, and so would whoever waits for it.
  bool isWriting() const;
  // What a recording could be asked for of now, and is not under way: the bridge, the Tracks that apps play
  // on, and the microphone where it is in no session of the bridge.
  std::vector<int> recordableSources();

 private:
  std::shared_ptr<AppTapEngine> makeAppTapEngine();
  std::shared_ptr<VolumeMixerEngine> makeVolumeMixerEngine();
  std::shared_ptr<MicPassthroughEngine> makeMicEngine();
  std::shared_ptr<BusLoopbackMonitorPool> makeLoopbacks();
  std::shared_ptr<SystemAudioEngine> makeSystemAudioEngine();
  std::vector<AudioObjectID> mixedProcesses();
  std::shared_ptr<BusRecordings> makeRecordings();
  std::shared_ptr<RecordingSources> makeRecordingSources();
  void applyDualMono();
  RecordingContext makeRecordingContext();

  const Environment environment_;
  NotificationCenter notifications_;
  RenderFlags flags_;
  const std::unique_ptr<MicSend> micSend_ = std::make_unique<MicSend>();
  EngineContext context_;
  std::vector<std::weak_ptr<AudioFileWriter>> writers_;
  const RecordingContext recordingContext_;
  LatencyProbe latencyProbe_;
  const std::shared_ptr<TrackNamesStore> trackNames_;
  PluginChains pluginChains_;
  DriverManager driverManager_;
  RouteRecoveryCoordinator routeRecovery_;

  AppDelegate appDelegate_;
  Lazy<AppTapEngine> appTapEngine_;
  Lazy<VolumeMixerEngine> volumeMixerEngine_;
  Lazy<MicPassthroughEngine> micEngine_;
  Lazy<InputPinEngine> inputPinEngine_;
  Lazy<MonitorOutput> monitorOutput_;
  Lazy<BusLoopbackMonitorPool> loopbacks_;
  std::vector<Subscription> loopbackReasons_;
  Lazy<CombinedInputEngine> combinedInputEngine_;
  Lazy<DAWAggregateEngine> dawAggregateEngine_;
  Lazy<SystemAudioEngine> systemAudioEngine_;
  Lazy<MixModeEngine> mixModeEngine_;
  std::vector<Subscription> mixModeReasons_;
  std::unique_ptr<TapEngineRecorderFeed> recorderFeed_;
  std::unique_ptr<MicEngineRecorderFeed> micRecorderFeed_;
  Lazy<DualMonoEngine> dualMonoEngine_;
  Lazy<RecordingsLibrary> recordingsLibrary_;
  Lazy<BusRecordings> recordings_;
  Lazy<RecordingSources> recordingSources_;
  Subscription dualMonoChanges_;
  PerformanceMonitor performanceMonitor_;
};

}  // namespace sonmere
