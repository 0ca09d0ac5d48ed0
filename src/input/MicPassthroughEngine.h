#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "audio/effects/PluginChains.h"
#include "audio/engine/EngineContext.h"
#include "audio/engine/PropertyListener.h"
#include "base/Lifetime.h"
#include "base/Observable.h"
#include "base/TaskToken.h"
#include "dsp/AppEQSettings.h"
#include "dsp/LatencySource.h"
#include "dsp/LimiterSettings.h"
#include "input/MicDevices.h"
#include "input/MicExtras.h"
#include "input/MicRateForce.h"
#include "input/MicRouteCheck.h"
#include "input/MicUnits.h"

namespace sonmere {

// Plays one input device into the bridge, with its channels mapped and its sound processed, so that every
// program that reads the bridge hears the user's microphone. Main thread.
class MicPassthroughEngine final : public LatencySource, public Route {
 public:
  using AudioDevice = MicDevice;
  using Transport = MicDevice::Transport;
  static constexpr float kMaxVolume = 2.0f;

  static constexpr const char* kEnabledKey = "sonmere.micPassthrough.enabled";
  static constexpr const char* kModeKey = "sonmere.micPassthrough.inputChannelMode";
  static constexpr const char* kLeftKey = "sonmere.micPassthrough.customLeftChannel";
  static constexpr const char* kRightKey = "sonmere.micPassthrough.customRightChannel";
  static constexpr const char* kVolumeKey = "sonmere.micPassthrough.volume";
  static constexpr const char* kHearMicKey = "sonmere.mixMode.hearMic.enabled";
  static constexpr const char* kMonitorVolumeKey = "sonmere.mixMode.monitorVolume";

  explicit MicPassthroughEngine(EngineContext& context);
  ~MicPassthroughEngine() override;

  // The microphone's plug-in chain sounds here while it runs. The chains outlive the engine.
  void host(PluginChains& chains) { chains_ = &chains; }
  // Looks at the devices, follows them, and starts what was on when the program ended. Once.
  void launch();

  // Whether it runs or is about to; the user's wish where nothing hinders it.
  OwnedObservable<bool, MicPassthroughEngine> isEnabled{false};
  // The wish itself: it is kept while there is no microphone, no bridge or no permission, and met when they
  // come.
  bool isWanted() const { return isWanted_; }
  OwnedObservable<std::optional<std::string>, MicPassthroughEngine> errorMessage;
  OwnedObservable<float, MicPassthroughEngine> micVolume{1.0f};  // linear, 0 to kMaxVolume
  // Whether the user wants to hear the microphone on the monitor, and how loud; linear, 0 to kMaxVolume.
  OwnedObservable<bool, MicPassthroughEngine> hearMic{false};
  OwnedObservable<float, MicPassthroughEngine> monitorVolume{1.0f};
  OwnedObservable<InputChannelMode, MicPassthroughEngine> inputChannelMode{InputChannelMode::automatic};
  OwnedObservable<ChannelPair, MicPassthroughEngine> customChannels{ChannelPair{0, 1}};
  OwnedObservable<AppEQSettings, MicPassthroughEngine> eqSettings;
  OwnedObservable<AppLimiterSettings, MicPassthroughEngine> limiterSettings;
  // An input that came up and is not in use, until another does or it goes.
  OwnedObservable<std::optional<AudioDevice>, MicPassthroughEngine> newlyAvailableInput;

  MicDevices& devices() { return devices_; }
  MicExtras& extras() { return extras_; }

  void setEnabled(bool enabled);
  // Starts what runs or is to run anew, after what it plays into was changed.
  void restart();
  // False when there is no such input now. A microphone that runs is started anew on it.
  bool select(const std::string& uid);
  void setVolume(float volume);
  void setHearMic(bool hear);
  void setMonitorVolume(float volume);
  void setChannelMode(InputChannelMode mode);
  // Channels from 0; what the device lacks takes its last channel.
  void setCustomChannels(ChannelPair channels);
  void setEqualiser(const AppEQSettings& settings);
  void setLimiter(const AppLimiterSettings& settings);

  bool isRunning() const { return units_.isRunning(); }
  // Of the running route; nothing without one.
  std::optional<MicRoute> route() const;
  // Whether it is on its way to the monitor now. What is captured at another rate than the bridge's is not.
  bool isOnMonitor() const { return state_->monitor.isEnabled(); }
  int channelCount() const { return units_.channels(); }
  // From the capture's next block on it writes what it sends into this ring, or into none when null; the ring
  // is told the rate.
  void setRecorderRing(std::shared_ptr<RecorderRing> ring);
  // Whether its two sides may differ, as the channels are chosen now.
  bool isStereo() const;
  const MicRenderState& renderState() const { return *state_; }
  // The highest level before its effects since this was asked last, 0 to 1 on the meters' scale.
  float takeHeldPeak() { return state_->peakHold.exchange(0.0f); }

  std::vector<RingReport> latencyRings() const override;

  void serverLost() override { stop(); }
  void revalidate(RevalidationReason reason) override;
  // A start that failed is tried again.
  RouteHealthEntry check(RevalidationReason reason) override;
  RouteHealthEntry health() const override;

 private:
  void start();
  void stop();
  void begin();
  void askThenStart();
  bool isRefused();
  void switchOff(const std::string& message);
  std::optional<AudioDeviceID> bridgeDevice();
  void pinMicBus(AudioDeviceID micBus);
  void run(AudioDeviceID input, AudioDeviceID bridge);
  void didStart();
  void placeChain();
  void switchMonitor();
  void didFail(const PassthroughError& error);
  void abortForRate(const MicRateForce::Aborted& rates);
  void applySettings();
  void applyEffects(double rate);
  void listenToBridge();
  void bridgeRateChanged();
  void inputRateChanged();
  bool hasLostBridge();
  int bridgeBus() const;
  // The bridge and the inputs.
  std::vector<AudioDeviceID> devicesOfAStart() const;
  void failUntilLater(const std::string& message);
  void checkConverted();
  void noteNewInputs(const std::set<std::string>& before);
  void listen(PropertyListener& listener, AudioObjectID object, AudioProperty property,
              void (MicPassthroughEngine::*handler)(), const char* what);

  EngineContext& context_;
  const std::shared_ptr<MicRenderState> state_;
  MicDevices devices_;
  MicUnits units_;
  MicExtras extras_;
  MicRateForce rateForce_;
  MicRouteCheck routeCheck_;
  PluginChains* chains_ = nullptr;

  bool isWanted_ = false;
  bool isLaunched_ = false;
  bool isStarting_ = false;
  bool didRetryStart_ = false;
  int failedStarts_ = 0;                     // in a row
  std::vector<AudioDeviceID> triedDevices_;  // that there were at the latest start
  double lastBridgeRate_ = 0;                // Hz, at the last start
  AudioDeviceID bridgeRateListenerDeviceID_ = kAudioObjectUnknown;
  PropertyListener bridgeRateListener_, inputRateListener_;
  ScopedTask retry_, convertedCaptureCheck_;
  Subscription monitorSwitch_;
  RouteKeeper::Registration registration_;
  Lifetime lifetime_;
};

}  // namespace sonmere
