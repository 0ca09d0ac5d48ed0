#include "input/MicPassthroughEngine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/Rates.h"
#include "base/ThreadRules.h"
#include "dsp/EffectSettingsCodec.h"

namespace sonmere {

namespace {

constexpr const char* kChainOwner = "microphone";
constexpr const char* kDualMonoKey = "sonmere.dualmono.isEnabled";
constexpr const char* kEQKey = "sonmere.appEQSettings.__mic__";
constexpr const char* kLimiterKey = "sonmere.appLimiterSettings.__mic__";

constexpr Duration kRetryDelay = std::chrono::seconds(1);
// The pauses between further attempts double up to here.
constexpr int kMostDoublings = 4;
constexpr Duration kDualMonoSettleTime = fromMilliseconds(100);
constexpr Duration kConvertedCheckDelay = std::chrono::seconds(2);

constexpr const char* kRefused = "Microphone access is required for mic passthrough.";

template <class T>
T stored(const SettingsStore& settings, const char* key) {
  if (const auto json = settings.data(key))
    if (const auto record = decodeJSON<T>(*json)) return *record;
  return {};
}

std::set<std::string> uidsOf(const std::vector<MicDevice>& devices) {
  std::set<std::string> uids;
  for (const MicDevice& device : devices) uids.insert(device.uid);
  return uids;
}

}  // namespace

MicPassthroughEngine::MicPassthroughEngine(EngineContext& context)
    : context_(context),
      state_(std::make_shared<MicRenderState>(context.micSend)),
      devices_(context),
      units_(context, state_),
      extras_(context, state_),
      rateForce_(context),
      routeCheck_(context, state_) {
  const SettingsStore& settings = context.settings;
  isWanted_ = settings.boolValue(kEnabledKey);
  const auto volume = float(settings.number(kVolumeKey).value_or(1.0));
  micVolume.set(std::isfinite(volume) ? std::clamp(volume, 0.0f, kMaxVolume) : 1.0f);
  hearMic.set(settings.boolValue(kHearMicKey));
  const auto heard = float(settings.number(kMonitorVolumeKey).value_or(1.0));
  monitorVolume.set(std::isfinite(heard) ? std::clamp(heard, 0.0f, kMaxVolume) : 1.0f);
  if (const auto mode = settings.number(kModeKey); mode && isInputChannelMode(std::int64_t(*mode)))
    inputChannelMode.set(InputChannelMode(std::int64_t(*mode)));
  customChannels.set(
      {int(settings.number(kLeftKey).value_or(0)), int(settings.number(kRightKey).value_or(1))});
  eqSettings.set(stored<AppEQSettings>(settings, kEQKey));
  limiterSettings.set(stored<AppLimiterSettings>(settings, kLimiterKey));
  routeCheck_.heal = [this] { restart(); };
}

MicPassthroughEngine::~MicPassthroughEngine() {
  stop();
  if (isLaunched_) context_.monitors.offer(MonitorPlace::microphone, {});
}

void MicPassthroughEngine::listen(PropertyListener& listener, AudioObjectID object, AudioProperty property,
                                  void (MicPassthroughEngine::*handler)(), const char* what) {
  const OSStatus status = listener.listen(context_.hardware(), object, property, context_.runtime.mainQueue(),
                                          [this, handler] { (this->*handler)(); });
  if (status != noErr)
    context_.log.warning(
        fmt::format("MicPassthroughEngine: failed to register {} listener (status={})", what, status));
}

void MicPassthroughEngine::launch() {
  assertMain();
  isLaunched_ = true;
  context_.monitors.offer(MonitorPlace::microphone,
                          {std::shared_ptr<MonitorSource>(state_, &state_->monitor)});
  monitorSwitch_ = context_.monitors.isOn.observe([this](bool) { switchMonitor(); });
  registration_ = context_.routes.add(*this);
  devices_.refresh();
  if (const auto device = devices_.selected()) extras_.load(device->uid);
  if (isWanted_) begin();
}

// What the user asks for.

void MicPassthroughEngine::setEnabled(bool enabled) {
  assertMain();
  isWanted_ = enabled;
  context_.settings.set(kEnabledKey, enabled);
  didRetryStart_ = false;
  failedStarts_ = 0;
  if (enabled) return begin();
  stop();
  isEnabled.set(false);
  errorMessage.set(std::nullopt);
}

bool MicPassthroughEngine::select(const std::string& uid) {
  assertMain();
  const auto before = devices_.selected();
  if (!devices_.select(uid)) return false;
  newlyAvailableInput.set(std::nullopt);
  if (before && before->uid == uid) return true;
  extras_.load(uid);
  if (isWanted_) restart();
  return true;
}

void MicPassthroughEngine::setVolume(float volume) {
  assertMain();
  if (!std::isfinite(volume)) return;
  micVolume.set(std::clamp(volume, 0.0f, kMaxVolume));
  state_->micVolume = *micVolume;
  context_.settings.set(kVolumeKey, double(*micVolume));
}

void MicPassthroughEngine::setHearMic(bool hear) {
  assertMain();
  hearMic.set(hear);
  context_.settings.set(kHearMicKey, hear);
  switchMonitor();
}

void MicPassthroughEngine::setMonitorVolume(float volume) {
  assertMain();
  if (!std::isfinite(volume)) return;
  monitorVolume.set(std::clamp(volume, 0.0f, kMaxVolume));
  state_->monitorVolume = *monitorVolume;
  context_.settings.set(kMonitorVolumeKey, double(*monitorVolume));
}

void MicPassthroughEngine::switchMonitor() {
  state_->monitor.setEnabled(*hearMic && isRunning() && !units_.route().isConverted() &&
                             *context_.monitors.isOn);
  context_.monitors.noteSwitched();
}

void MicPassthroughEngine::setChannelMode(InputChannelMode mode) {
  assertMain();
  inputChannelMode.set(mode);
  state_->mode = std::uint8_t(mode);
  context_.settings.set(kModeKey, std::int64_t(mode));
}

void MicPassthroughEngine::setCustomChannels(ChannelPair channels) {
  assertMain();
  customChannels.set(channels);
  state_->customLeft = channels.left;
  state_->customRight = channels.right;
  context_.settings.set(kLeftKey, std::int64_t(channels.left));
  context_.settings.set(kRightKey, std::int64_t(channels.right));
}

void MicPassthroughEngine::setEqualiser(const AppEQSettings& settings) {
  assertMain();
  if (std::string json = encodeJSON(settings); decodeJSON<AppEQSettings>(json))
    context_.settings.set(kEQKey, SettingsData{std::move(json)});
  eqSettings.set(settings);
  const double rate = isRunning() ? units_.route().captureRate : kFallbackRate;
  state_->eqCoefficients.copy(coefficients(settings, rate));
  state_->eqEnabled = settings.isEnabled;
}

void MicPassthroughEngine::setLimiter(const AppLimiterSettings& settings) {
  assertMain();
  if (std::string json = encodeJSON(settings); decodeJSON<AppLimiterSettings>(json))
    context_.settings.set(kLimiterKey, SettingsData{std::move(json)});
  limiterSettings.set(settings);
  state_->limiterCeiling = limiterCeiling(settings.ceilingDb);
  state_->limiterGain = 1.0f;
  state_->limiterEnabled = settings.isEnabled;
}

void MicPassthroughEngine::setRecorderRing(std::shared_ptr<RecorderRing> ring) {
  assertMain();
  state_->recorder.publish(std::move(ring), context_.rendering.retirement, kSnapshotGrace);
}

bool MicPassthroughEngine::isStereo() const {
  return *inputChannelMode == InputChannelMode::stereo ||
         (*inputChannelMode == InputChannelMode::custom && customChannels->left != customChannels->right);
}

// Start.

bool MicPassthroughEngine::isRefused() {
  switch (context_.platform.permissions().status(Permission::microphone)) {
    case PermissionStatus::denied:
      switchOff(std::string(context_.platform.words().microphoneDenied));
      return true;
    case PermissionStatus::restricted:
      switchOff(std::string(context_.platform.words().microphoneRestricted));
      return true;
    default:
      return false;
  }
}

void MicPassthroughEngine::askThenStart() {
  context_.platform.permissions().request(Permission::microphone, lifetime_.guard([this](bool granted) {
    if (!isWanted_) return;
    granted ? start() : switchOff(kRefused);
  }));
}

void MicPassthroughEngine::begin() {
  if (!isLaunched_ || isRefused()) return;
  if (context_.platform.permissions().status(Permission::microphone) == PermissionStatus::notDetermined) {
    isEnabled.set(true);
    return askThenStart();
  }
  start();
}

void MicPassthroughEngine::switchOff(const std::string& message) {
  isEnabled.setIfChanged(false);
  errorMessage.setIfChanged(message);
}

// What comes meanwhile has it tried at once.
void MicPassthroughEngine::failUntilLater(const std::string& message) {
  switchOff(message);
  const Duration pause = kRetryDelay * (1 << std::min(++failedStarts_, kMostDoublings));
  retry_ = context_.runtime.mainQueue().postAfter(pause, [this] {
    retry_.cancel();
    if (isWanted_ && !isRunning()) begin();
  });
}

int MicPassthroughEngine::bridgeBus() const {
  return context_.settings.boolValue(kDualMonoKey) ? kMicBus : kBridgeBus;
}

std::vector<AudioDeviceID> MicPassthroughEngine::devicesOfAStart() const {
  std::vector<AudioDeviceID> devices{
      CoreAudioUtils::deviceForBus(context_.hardware(), bridgeBus()).value_or(kAudioObjectUnknown)};
  for (const MicDevice& each : *devices_.availableMics) devices.push_back(each.id);
  return devices;
}

std::optional<AudioDeviceID> MicPassthroughEngine::bridgeDevice() {
  const int bus = bridgeBus();
  const auto device = CoreAudioUtils::deviceForBus(context_.hardware(), bus);
  if (device && bus == kMicBus) pinMicBus(*device);
  return device;
}

void MicPassthroughEngine::pinMicBus(AudioDeviceID micBus) {
  AudioHardware& hardware = context_.hardware();
  const auto bridge = CoreAudioUtils::deviceForBus(hardware, kBridgeBus);
  const double rate = CoreAudioUtils::nominalRate(hardware, micBus).value_or(kFallbackRate);
  const double wanted = bridge ? CoreAudioUtils::nominalRate(hardware, *bridge).value_or(rate) : rate;
  if (rate == wanted) return;
  context_.log.info(fmt::format(
      "ToneFerry: dual-mono — pinning mic bus rate {:.0f} Hz → {:.0f} Hz to match bus 0", rate, wanted));
  hardware.setNominalSampleRate(micBus, wanted);
  context_.runtime.blockFor(kDualMonoSettleTime);
}

void MicPassthroughEngine::listenToBridge() {
  AudioHardware& hardware = context_.hardware();
  const auto bridge = CoreAudioUtils::deviceForBus(hardware, kBridgeBus);
  if (!bridge || *bridge == bridgeRateListenerDeviceID_) return;
  if (bridgeRateListener_)
    context_.log.info(
        fmt::format("ToneFerry: bus 0 object ID changed ({} → {}) — re-registering bridge-rate listener",
                    bridgeRateListenerDeviceID_, *bridge));
  bridgeRateListenerDeviceID_ = *bridge;
  listen(bridgeRateListener_, *bridge, AudioProperty::nominalSampleRate,
         &MicPassthroughEngine::bridgeRateChanged, "bridge-rate");
}

void MicPassthroughEngine::start() {
  if (isRunning() || isStarting_) return;
  triedDevices_ = devicesOfAStart();
  const auto input = devices_.selected();
  if (!input)
    return failUntilLater(
        devices_.availableMics->empty()
            ? "No microphone connected. Plug in a microphone (USB, built-in, or audio interface) and "
              "try again."
            : "No microphone selected. Pick one from the dropdown above.");
  const auto bridge = bridgeDevice();
  if (!bridge)
    return failUntilLater(
        "Tone Ferry device not found. The driver may not be loaded — try restarting your Mac, or run "
        "`sudo killall coreaudiod` in Terminal.");
  isEnabled.set(true);
  listenToBridge();
  // Waits for the rates run what falls due elsewhere; no second start may come between.
  isStarting_ = true;
  run(input->id, *bridge);
  isStarting_ = false;
}

void MicPassthroughEngine::run(AudioDeviceID input, AudioDeviceID bridge) {
  context_.log.info(
      fmt::format("ToneFerry: Starting passthrough - micID={}, bridgeDevice={}", input, bridge));
  const auto rates = rateForce_.match(input, bridge);
  if (!rates) return abortForRate(rates.error());
  state_->counters.clear();
  state_->bridgeReadPos.storeRelease(0);
  context_.micSend.writePos.storeRelease(0);
  for (auto& position : context_.micSend.readPositions) position = 0;
  applySettings();
  applyEffects(rates->capture);
  if (const auto started = units_.start({input, bridge, rates->capture, rates->bridge}); !started)
    return didFail(started.error());
  didStart();
}

void MicPassthroughEngine::applySettings() {
  state_->micVolume = *micVolume;
  state_->monitorVolume = *monitorVolume;
  state_->mode = std::uint8_t(*inputChannelMode);
  state_->customLeft = customChannels->left;
  state_->customRight = customChannels->right;
}

// At a start the filters begin at rest.
void MicPassthroughEngine::applyEffects(double rate) {
  const LimiterRates rates = limiterRates(rate);
  state_->limiterAttack = rates.attack;
  state_->limiterRelease = rates.release;
  state_->limiterCeiling = limiterCeiling(limiterSettings->ceilingDb);
  state_->limiterGain = 1.0f;
  state_->limiterEnabled = limiterSettings->isEnabled;
  state_->eqCoefficients.copy(coefficients(*eqSettings, rate));
  state_->eqDelays.zeroFill();
  state_->eqEnabled = eqSettings->isEnabled;
  extras_.setCaptureRate(rate);
}

void MicPassthroughEngine::didStart() {
  const MicRoute& route = units_.route();
  lastBridgeRate_ = route.bridgeRate;
  context_.micSend.captureRate = route.captureRate;
  context_.micSend.active = true;
  didRetryStart_ = false;
  failedStarts_ = 0;
  errorMessage.set(std::nullopt);
  context_.log.info("mic start: input + bridge-output AUs running");
  context_.log.info(fmt::format(
      "ToneFerry: Passthrough started (bridgeRate={:.0f} Hz, micChannels={}, micNativeRate={:.0f} Hz)",
      route.bridgeRate, units_.channels(), units_.nativeRate()));
  placeChain();
  switchMonitor();
  if (route.isConverted())
    convertedCaptureCheck_ =
        context_.runtime.mainQueue().postAfter(kConvertedCheckDelay, [this] { checkConverted(); });
  routeCheck_.begin(route.bridge);
}

void MicPassthroughEngine::placeChain() {
  if (!chains_) return;
  const auto publish = [this](std::shared_ptr<const PluginChainSnapshot> next) {
    state_->pluginChain.publish(std::move(next), context_.rendering.retirement, PluginChainSnapshot::kGrace);
  };
  chains_->setPlaces(kChainOwner,
                     {{PluginScope::ofMic(), {units_.route().captureRate, state_.get(), publish}}});
}

void MicPassthroughEngine::checkConverted() {
  if (state_->counters.goodRenders > 0) return;
  const OSStatus status = state_->counters.lastRenderError;
  stop();
  didFail({PassthroughError::Kind::startFailed, status});
}

void MicPassthroughEngine::didFail(const PassthroughError& error) {
  context_.log.error("ToneFerry: Passthrough FAILED: " + error.description());
  rateForce_.restore();
  if (error.mayPass() && !didRetryStart_) {
    didRetryStart_ = true;
    context_.log.info(fmt::format("mic start failed ({}) — retrying once in 1 s", error.description()));
    retry_ = context_.runtime.mainQueue().postAfter(kRetryDelay, [this] {
      if (isWanted_ && *isEnabled) start();
    });
    return;
  }
  didRetryStart_ = false;
  failUntilLater("Failed: " + error.description());
}

void MicPassthroughEngine::abortForRate(const MicRateForce::Aborted& rates) {
  const auto device = devices_.selected();
  const std::string name = device ? device->name : "The microphone";
  switchOff(fmt::format(
      "{} stays at {:.0f} Hz, and the bridge can't run at that rate. Set it to {:.0f} Hz, or choose "
      "another microphone.",
      name, rates.inputRate, rates.bridgeRate));
  lastBridgeRate_ = rates.bridgeRate;
  if (device)
    listen(inputRateListener_, device->id, AudioProperty::nominalSampleRate,
           &MicPassthroughEngine::inputRateChanged, "input-rate");
}

// Stop.

void MicPassthroughEngine::stop() {
  assertMain();
  for (ScopedTask* const task : {&retry_, &convertedCaptureCheck_}) task->cancel();
  routeCheck_.end();
  inputRateListener_.stop();
  if (!isRunning()) return;
  if (chains_) chains_->setPlaces(kChainOwner, {});
  context_.micSend.active = false;
  units_.stop();
  switchMonitor();
  state_->isConverted = false;
  state_->preLevel = state_->postLevel = state_->peakHold = 0.0f;
  for (auto& level : state_->channelLevels) level = 0.0f;
  errorMessage.set(std::nullopt);
  rateForce_.restore();
}

void MicPassthroughEngine::restart() {
  assertMain();
  stop();
  if (isWanted_) begin();
}

// What the machine does.

void MicPassthroughEngine::bridgeRateChanged() {
  const auto rate = CoreAudioUtils::nominalRate(context_.hardware(), bridgeRateListenerDeviceID_);
  const bool mayFitNow = isWanted_ && inputRateListener_;
  if (!isRunning() && !mayFitNow) return;
  if (isStarting_ || !rate || std::abs(*rate - lastBridgeRate_) <= kSameRateHz) return;
  context_.log.info(
      fmt::format("ToneFerry: bridge rate changed to {:.0f} Hz — restarting mic passthrough", *rate));
  restart();
}

// Where the rates did not fit they may now.
void MicPassthroughEngine::inputRateChanged() {
  if (isWanted_ && !isRunning()) restart();
}

// After a sleep a unit may run that nobody hears. What could not be started is tried again for what is new.
void MicPassthroughEngine::revalidate(RevalidationReason reason) {
  assertMain();
  const auto before = uidsOf(*devices_.availableMics);
  const bool isAnother = devices_.refresh();
  noteNewInputs(before);
  if (isAnother)
    if (const auto device = devices_.selected()) extras_.load(device->uid);
  const bool mayBeDeaf = reason == RevalidationReason::wake || reason == RevalidationReason::manual;
  const bool mayStartNow =
      !isRunning() && (reason != RevalidationReason::deviceChange || devicesOfAStart() != triedDevices_);
  if (!isWanted_ || !(isAnother || mayBeDeaf || mayStartNow || hasLostBridge())) return;
  failedStarts_ = 0;
  restart();
}

RouteHealthEntry MicPassthroughEngine::check(RevalidationReason) {
  assertMain();
  revalidate(RevalidationReason::deviceChange);
  return health();
}

RouteHealthEntry MicPassthroughEngine::health() const {
  RouteHealthEntry entry{"input", "Microphone", RouteHealthVerdict::healthy, errorMessage->value_or("")};
  if (!isWanted_)
    entry.verdict = RouteHealthVerdict::inactive;
  else if (!isRunning())
    entry.verdict = RouteHealthVerdict::broken;
  else if (devices_.isOnTemporaryFallback())
    entry = {"input", "Microphone", RouteHealthVerdict::degraded, "Input device disconnected"};
  return entry;
}

bool MicPassthroughEngine::hasLostBridge() { return isRunning() && bridgeDevice() != units_.route().bridge; }

// An input that comes while another is in use is offered once.
void MicPassthroughEngine::noteNewInputs(const std::set<std::string>& before) {
  const auto used = devices_.selected();
  for (const MicDevice& device : *devices_.availableMics)
    if (!before.contains(device.uid) && (!used || device.uid != used->uid))
      return newlyAvailableInput.set(device);
  if (*newlyAvailableInput && !devices_.find((*newlyAvailableInput)->uid))
    newlyAvailableInput.set(std::nullopt);
}

std::optional<MicRoute> MicPassthroughEngine::route() const {
  if (!isRunning()) return std::nullopt;
  return units_.route();
}

std::vector<RingReport> MicPassthroughEngine::latencyRings() const {
  if (!isRunning()) return {};
  std::vector<RingReport> rows;
  if (isOnMonitor())
    rows.push_back(
        ringReport("monitor:mic (hear my mic)", *state_->monitor.ring(), units_.route().bridgeRate));
  const MicCounters& counters = state_->counters;
  const double rate = units_.route().captureRate > 0 ? units_.route().captureRate : kFallbackRate;
  RingReport row;
  row.id = "mic→bridge";
  row.backlogMs = double(counters.backlogBytes) * 0.125 / rate * 1000;
  row.peakMs = double(counters.peakBacklogBytes) * 0.125 / rate * 1000;
  row.underruns = counters.underruns;
  row.starves = counters.starves;
  row.overflows = counters.overflows;
  row.reads = counters.reads;
  row.writeFrames = counters.lastWriteBytes / 8;
  row.readFrames = counters.lastReadBytes / 8;
  rows.push_back(std::move(row));
  return rows;
}

}  // namespace sonmere
