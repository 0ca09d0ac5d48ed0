#include "system/SystemAudioEngine.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/device/CoreAudioUtils.h"
#include "base/ThreadRules.h"

namespace sonmere {

namespace {

constexpr Duration kReconnectDelay = fromMilliseconds(300);
constexpr Duration kSwitchGap = fromMilliseconds(600);  // off, and on again
constexpr Duration kRebuildSettle = fromMilliseconds(700), kRebuildEnd = fromMilliseconds(300);
constexpr Duration kReplaceSettle = fromMilliseconds(300), kCreateSettle = fromMilliseconds(150);
constexpr Duration kPassVerifyDelay = fromMilliseconds(2000);
constexpr int kMostStructuralRebuilds = 2;
constexpr const char* kMixModeKey = "sonmere.mixMode.isEnabled";
constexpr const char* kMixModeDisabledKey = "sonmere.mixMode.disabled";
constexpr const char* kMixModeChanged = "sonmereMixModeChanged";

}  // namespace

SystemAudioEngine::SystemAudioEngine(EngineContext& context, std::string appVersion)
    : context_(context), appVersion_(std::move(appVersion)), multiOutput_(context), ear_(context.hardware()) {
  followSystemDefault.set(context.settings.boolValue(kFollowSystemDefaultKey));
}

SystemAudioEngine::~SystemAudioEngine() {
  defaultOutputListener_.stop();
  deviceList_.cancel();
  mixMode_.cancel();
  ear_.stop();
  if (!*isEnabled) return;
  restoreOriginal();
  if (multiOutputDeviceID_) multiOutput_.destroy(*multiOutputDeviceID_);
}

void SystemAudioEngine::launch() {
  assertMain();
  checkForUpdate();
  refreshDevices();
  reconnect_ = context_.runtime.mainQueue().postAfter(kReconnectDelay, [this] { reconnect(); });
  const OSStatus status =
      defaultOutputListener_.listen(hardware(), kAudioObjectSystemObject, AudioProperty::defaultOutput,
                                    context_.runtime.mainQueue(), [this] { sync(); });
  if (status != noErr)
    context_.log.error(fmt::format("ToneFerry: Failed to register default output listener: {}", status));
  if (const OSStatus list = context_.devices.start(); list != noErr)
    context_.log.error(fmt::format("ToneFerry: Failed to register device list listener: {}", list));
  deviceList_ = context_.devices.listChanges().observe([this](int) { devicesChanged(); });
  mixMode_ =
      context_.notifications.observe(kMixModeChanged, [this](const NotificationInfo&) { mixModeChanged(); });
  registration_ = context_.routes.add(*this);
  beginRestore();
}

// Devices.

std::optional<AudioDeviceID> SystemAudioEngine::bridge() const {
  return CoreAudioUtils::deviceForBus(hardware(), kBridgeBus);
}

bool SystemAudioEngine::exists(AudioDeviceID device) const {
  return CoreAudioUtils::deviceUID(hardware(), device).has_value();
}

// Neither one of the virtual devices nor one of ours.
bool SystemAudioEngine::isUsers(AudioDeviceID device) const {
  const auto uid = CoreAudioUtils::deviceUID(hardware(), device);
  return uid && !CoreAudioUtils::isOwnDeviceUID(*uid);
}

const OutputCandidate* SystemAudioEngine::candidate(const std::string& uid) const {
  const auto found = std::ranges::find(*availableOutputDevices, uid, &OutputCandidate::uid);
  return found == availableOutputDevices->end() ? nullptr : &*found;
}

const OutputCandidate* SystemAudioEngine::candidate(AudioDeviceID device) const {
  const auto found = std::ranges::find(*availableOutputDevices, device, &OutputCandidate::id);
  return found == availableOutputDevices->end() ? nullptr : &*found;
}

bool SystemAudioEngine::setDefault(AudioDeviceID device) {
  return CoreAudioUtils::setDefaultOutput(hardware(), context_.log, device);
}

std::optional<OutputCandidate> SystemAudioEngine::initialOutput() const {
  const auto copy = [](const OutputCandidate* found) { return found ? std::optional(*found) : std::nullopt; };
  if (*followSystemDefault)
    if (const auto now = CoreAudioUtils::defaultOutput(hardware()); now && isUsers(*now))
      if (const OutputCandidate* found = candidate(*now)) return *found;
  if (const OutputCandidate* best = bestPhysicalOutput(*availableOutputDevices)) return *best;
  return copy(preferredOutput(*availableOutputDevices));
}

void SystemAudioEngine::refreshDevices() {
  auto devices = outputCandidates(context_.devices);
  if (devices != *availableOutputDevices) availableOutputDevices.set(std::move(devices));
  previousDeviceIDs_.clear();
  for (const OutputCandidate& each : *availableOutputDevices) previousDeviceIDs_.insert(each.id);
  if (*selectedOutput) return;
  const std::string saved = context_.settings.string(kSelectedOutputDeviceUIDKey).value_or("");
  const OutputCandidate* found = candidate(saved);
  const auto chosen = found ? std::optional(*found) : initialOutput();
  if (chosen) selectedOutput.set(chosen);
}

// Launch.

void SystemAudioEngine::reconnect() {
  reconnect_.cancel();
  SettingsStore& settings = context_.settings;
  if (!settings.boolValue(kEnabledKey) || *isEnabled) return;
  const auto original = settings.number(kOriginalDeviceKey);
  if (original.value_or(0) != 0) setOriginal(AudioDeviceID(*original));
  if (const auto left = multiOutput_.all(); !left.empty()) {
    const OutputCandidate* preferred = preferredOutput(*availableOutputDevices);
    const OutputCandidate* target = *selectedOutput ? &**selectedOutput : preferred;
    if (target) {
      setDefault(target->id);
      context_.log.info(fmt::format("reconnect: dropped default to physical {}", target->name));
    }
    for (const AudioDeviceID each : left) multiOutput_.destroy(each);
    multiOutputDeviceID_.reset();
    settings.remove(kMultiOutputDeviceKey);
  }
  switchOn_ = context_.runtime.mainQueue().postAfter(kSwitchGap, [this] {
    switchOn_.cancel();
    if (!context_.settings.boolValue(kEnabledKey) || *isEnabled) return;
    if (!bridge()) return void(lacksDevice_ = true);
    context_.log.info("reconnect: enabling SAP fresh, from a physical default");
    setEnabled(true);
  });
}

// Switching.

bool SystemAudioEngine::setEnabled(bool enabled) {
  assertMain();
  switchOn_.cancel();
  // A wish that waits for its device or its moment ends too.
  if (!enabled && !*isEnabled) endWish();
  if (enabled == *isEnabled) return true;
  if (enabled && !enable()) return false;
  if (!enabled) disable();
  changed();
  return true;
}

void SystemAudioEngine::changed() { context_.notifications.post(kChanged); }

void SystemAudioEngine::endWish() {
  lacksDevice_ = false;
  context_.settings.set(kEnabledKey, false);
  errorMessage.setIfChanged(std::nullopt);
}

// It is tried again when the devices are others.
bool SystemAudioEngine::awaitDevice(const std::string& missing) {
  lacksDevice_ = true;
  context_.settings.set(kEnabledKey, true);
  return refuse(missing);
}

bool SystemAudioEngine::refuse(const std::string& why) {
  context_.log.error("ToneFerry: " + why);
  errorMessage.set(why);
  if (*isEnabled) isEnabled.set(false);
  return false;
}

void SystemAudioEngine::leaveOwnDefault() {
  const auto now = CoreAudioUtils::defaultOutput(hardware());
  if (now && multiOutput_.isOne(*now)) setDefault((*selectedOutput)->id);
}

bool SystemAudioEngine::enable() {
  refreshDevices();
  const auto bridge = this->bridge();
  if (!*selectedOutput) return awaitDevice("No output device selected");
  if (!bridge) return awaitDevice("Tone Ferry driver not found");
  lacksDevice_ = false;
  const OutputCandidate selected = **selectedOutput;
  const auto now = CoreAudioUtils::defaultOutput(hardware());
  context_.log.info(fmt::format("enable: selected={} curDefault={}", selected.name, now.value_or(0)));
  // A rebuild makes another output the default only for its own sake.
  if (!isReconfiguring_ || !originalOutputDeviceID_) setOriginal(now && isUsers(*now) ? *now : selected.id);
  // A session remembers the latest choices, and goes back to the one before ours when this program is gone.
  if (now && isUsers(*now)) setDefault(*now);
  multiOutput_.matchBridge(selected.id, *bridge);
  if (const auto existing = multiOutput_.all(); !existing.empty()) {
    context_.log.info(
        fmt::format("enable: destroying existing agg id={} — always create fresh", existing.front()));
    leaveOwnDefault();
    multiOutput_.destroy(existing.front());
    multiOutput_.pause(kReplaceSettle);
  }
  if (!exists(selected.id)) return refuse("Could not get device UID");
  const auto made = multiOutput_.create(selected);
  if (!made) {
    context_.log.error(fmt::format("ToneFerry: Failed to create Multi-Output Device: {}", made.error()));
    return refuse(fmt::format("Failed to create Multi-Output Device (error {})", made.error()));
  }
  multiOutput_.pause(kCreateSettle);
  if (!setDefault(*made)) {
    multiOutput_.destroy(*made);
    return refuse("Couldn't make the Multi-Output Device the default output");
  }
  finishEnable(*made);
  return true;
}

void SystemAudioEngine::finishEnable(AudioDeviceID device) {
  multiOutputDeviceID_ = device;
  isEnabled.set(true);
  context_.log.info(fmt::format("enable: CREATED agg id={} name={}, set as default", device,
                                CoreAudioUtils::deviceName(hardware(), device).value_or("")));
  SettingsStore& settings = context_.settings;
  if (originalOutputDeviceID_) settings.set(kOriginalDeviceKey, std::int64_t(*originalOutputDeviceID_));
  settings.set(kMultiOutputDeviceKey, std::int64_t(device));
  settings.set(kEnabledKey, true);
  settings.set(kUpdateNoticeKey, false);
  errorMessage.set(std::nullopt);
  context_.log.info(fmt::format(
      "ToneFerry: System Audio Passthrough enabled - Multi-Output Device created (ID: {})", device));
  multiOutput_.destroyAllBut(device);
  listenToBridge();
  scheduleVerify(fromMilliseconds(1600));
}

void SystemAudioEngine::listenToBridge() {
  if (const auto bridge = this->bridge()) ear_.listen(*bridge);
}

void SystemAudioEngine::setOriginal(AudioDeviceID device) {
  originalOutputDeviceID_ = device;
  originalUID_ = CoreAudioUtils::deviceUID(hardware(), device).value_or("");
}

void SystemAudioEngine::restoreOriginal() {
  if (originalOutputDeviceID_ && isUsers(*originalOutputDeviceID_)) {
    setDefault(*originalOutputDeviceID_);
    context_.log.info(
        fmt::format("ToneFerry: Restored original output device (ID: {})", *originalOutputDeviceID_));
  } else if (const OutputCandidate* fallback = preferredOutput(*availableOutputDevices)) {
    setDefault(fallback->id);
    context_.log.info(fmt::format("ToneFerry: Restored to fallback output device: {} (ID: {})",
                                  fallback->name, fallback->id));
  }
}

void SystemAudioEngine::forgetOriginal() {
  originalOutputDeviceID_.reset();
  originalUID_.clear();
  context_.settings.remove(kOriginalDeviceKey);
}

void SystemAudioEngine::disable() {
  context_.log.info("disable: restoring original output device");
  isEnabled.set(false);
  verify_.cancel();
  ear_.stop();
  restoreOriginal();
  forgetOriginal();
  if (*errorMessage) errorMessage.set(std::nullopt);
  context_.settings.set(kEnabledKey, false);
  context_.log.info("disable: destroying aggregate so next enable creates fresh");
  destroyMultiOutput();
  if (!sapHealing_) restoreVerifyDeadline_.reset();
}

void SystemAudioEngine::destroyMultiOutput() {
  const auto device = std::exchange(multiOutputDeviceID_, std::nullopt);
  context_.settings.remove(kMultiOutputDeviceKey);
  if (device) multiOutput_.destroy(*device);
}

// Pairing.

bool SystemAudioEngine::select(const std::string& uid) {
  assertMain();
  refreshDevices();
  const OutputCandidate* found = candidate(uid);
  if (!found) return false;
  setSelection(*found);
  return true;
}

void SystemAudioEngine::setSelection(const OutputCandidate& output) {
  const auto before = *selectedOutput;
  selectedOutput.set(output);
  context_.settings.set(kSelectedOutputDeviceUIDKey, output.uid);
  if (before && *isEnabled && before->id != output.id) rebuild();
}

void SystemAudioEngine::setFollowing(bool follows) {
  assertMain();
  if (follows == *followSystemDefault) return;
  followSystemDefault.set(follows);
  context_.settings.set(kFollowSystemDefaultKey, follows);
  sync();
}

void SystemAudioEngine::rebuild() {
  context_.log.info(fmt::format("rebuild: newSel={}", (*selectedOutput)->name));
  restoreVerifyDeadline_.reset();
  isReconfiguring_ = true;
  ear_.stop();
  verify_.cancel();
  leaveOwnDefault();
  destroyMultiOutput();
  context_.log.info("rebuild: settling before recreate");
  multiOutput_.pause(kRebuildSettle);
  if (!enable()) changed();
  rebuildEnd_ = context_.runtime.mainQueue().postAfter(kRebuildEnd, [this] {
    rebuildEnd_.cancel();
    isReconfiguring_ = false;
  });
}

// What the system tells.

bool SystemAudioEngine::followDefault(AudioDeviceID now, bool isMultiOut) {
  const OutputCandidate* found = *followSystemDefault && !isMultiOut ? candidate(now) : nullptr;
  if (!found || (*selectedOutput && (*selectedOutput)->id == now)) return false;
  const bool isPaired = *isEnabled;
  if (isPaired)
    context_.log.info(fmt::format("ToneFerry: Follow-default detected new output (ID: {}), re-pairing", now));
  setSelection(OutputCandidate(*found));
  return isPaired;
}

// The system's word wins: whoever chose another output meant it.
void SystemAudioEngine::sync() {
  if (isReconfiguring_)
    return context_.log.info(
        fmt::format("sync called: reconfig=true follow={} isEnabled={}", *followSystemDefault, *isEnabled));
  const auto now = CoreAudioUtils::defaultOutput(hardware());
  if (!now) return;
  const bool isMultiOut = multiOutput_.isOne(*now);
  refreshDevices();
  if (followDefault(*now, isMultiOut)) return;
  context_.log.debug(
      fmt::format("sync: curDefault={} isMultiOut={} isEnabled={}", *now, isMultiOut, *isEnabled));
  if (isMultiOut == *isEnabled) return;
  context_.log.info(fmt::format("sync: FLIPPING isEnabled {} -> {}", *isEnabled, isMultiOut));
  isMultiOut ? switchedTo(*now) : switchedAway();
  changed();
}

// The device stays until the next start of this; a program may play on it still.
void SystemAudioEngine::switchedAway() {
  isEnabled.set(false);
  forgetOriginal();
  context_.settings.set(kEnabledKey, false);
  context_.log.info("ToneFerry: Detected external switch away from Multi-Output Device");
  verify_.cancel();
  ear_.stop();
}

void SystemAudioEngine::switchedTo(AudioDeviceID device) {
  isEnabled.set(true);
  multiOutputDeviceID_ = device;
  if (!originalOutputDeviceID_) {
    const OutputCandidate* preferred = preferredOutput(*availableOutputDevices);
    if (*selectedOutput)
      setOriginal((*selectedOutput)->id);
    else if (preferred)
      setOriginal(preferred->id);
  }
  if (originalOutputDeviceID_)
    context_.settings.set(kOriginalDeviceKey, std::int64_t(*originalOutputDeviceID_));
  context_.settings.set(kMultiOutputDeviceKey, std::int64_t(device));
  context_.settings.set(kEnabledKey, true);
  context_.log.info(
      fmt::format("ToneFerry: Detected external switch to Multi-Output Device (ID: {})", device));
  listenToBridge();
}

void SystemAudioEngine::devicesChanged() {
  const std::set<AudioDeviceID> before = previousDeviceIDs_;
  refreshDevices();
  // Nothing is paired with anything while the server comes back.
  if (availableOutputDevices->empty() || isReconfiguring_) return;
  const OutputCandidate* preferred = preferredOutput(*availableOutputDevices);
  if (!*selectedOutput) return;
  if (const OutputCandidate* present = candidate((*selectedOutput)->uid)) {
    if (present->id != (*selectedOutput)->id) return setSelection(OutputCandidate(*present));
    return pairWithNewcomer(before);
  }
  if (!preferred) return;
  context_.log.info("ToneFerry: Paired device disappeared, falling back to preferred output");
  setSelection(OutputCandidate(*preferred));
}

void SystemAudioEngine::pairWithNewcomer(const std::set<AudioDeviceID>& before) {
  context_.log.debug(
      fmt::format("hotplug: deviceListChanged follow={} isEnabled={}", *followSystemDefault, *isEnabled));
  if (!*followSystemDefault || !*isEnabled) return;
  const OutputCandidate* newcomer = nullptr;
  const auto now = CoreAudioUtils::defaultOutput(hardware());
  for (const OutputCandidate& each : *availableOutputDevices)
    if (!before.contains(each.id) && isPluggedKind(each) && (!newcomer || each.id == now)) newcomer = &each;
  if (!newcomer || newcomer->id == (*selectedOutput)->id) return;
  context_.log.info(
      fmt::format("ToneFerry: New physical output detected (ID: {}), re-pairing", newcomer->id));
  setSelection(OutputCandidate(*newcomer));
}

bool SystemAudioEngine::isMixModeOn() const {
  return context_.settings.boolValue(kMixModeKey) && !context_.settings.boolValue(kMixModeDisabledKey);
}

void SystemAudioEngine::mixModeChanged() {
  if (!isMixModeOn()) return;
  if (lacksDevice_) return endWish();
  if (!*isEnabled) return;
  context_.log.info(
      "Sonmere: Mix Mode turned on — disabling System Audio Passthrough to avoid output collision");
  setEnabled(false);
}

// Rebuilding as a whole.

void SystemAudioEngine::structuralRebuild(const std::string& reason) {
  if (!*isEnabled || isReconfiguring_) return;
  if (structuralRebuildAttempts_ >= kMostStructuralRebuilds)
    return context_.log.warning(
        fmt::format("structural rebuild: {} — budget exhausted ({}), leaving route for manual reset", reason,
                    structuralRebuildAttempts_));
  ++structuralRebuildAttempts_;
  context_.log.info(fmt::format("structural rebuild: {} — rebuilding ({}/{})", reason,
                                structuralRebuildAttempts_, kMostStructuralRebuilds));
  switchOffAndOn();
}

// The wish outlives the gap.
void SystemAudioEngine::switchOffAndOn() {
  setEnabled(false);
  context_.settings.set(kEnabledKey, true);
  switchOn_ = context_.runtime.mainQueue().postAfter(kSwitchGap, [this] {
    switchOn_.cancel();
    setEnabled(true);
    sapHealing_ = false;
  });
}

SystemAudioEngine::ResetReport SystemAudioEngine::manualReset() {
  assertMain();
  ResetReport report;
  report.wasEnabled = *isEnabled;
  if (*isEnabled) {
    const auto device = presentMultiOutput();
    for (const std::string& uid : device ? multiOutput_.members(*device) : std::vector<std::string>{})
      if (!CoreAudioUtils::deviceForUID(hardware(), uid)) report.staleMembers.push_back(uid);
    context_.log.info(
        fmt::format("manual reset: rebuilding (stale members: {})", report.staleMembers.size()));
    structuralRebuildAttempts_ = 0;
    switchOffAndOn();
    return report;
  }
  for (const AudioDeviceID each : multiOutput_.all()) {
    context_.log.info(fmt::format("manual reset: sweeping orphaned aggregate id={}", each));
    multiOutput_.destroy(each);
    ++report.sweptAggregates;
  }
  return report;
}

std::optional<AudioDeviceID> SystemAudioEngine::presentMultiOutput() const {
  if (multiOutputDeviceID_ && exists(*multiOutputDeviceID_)) return multiOutputDeviceID_;
  const auto all = multiOutput_.all();
  return all.empty() ? std::nullopt : std::optional(all.front());
}

SystemAudioEngine::SAPRouteReport SystemAudioEngine::sapRouteReport() const {
  SAPRouteReport report;
  report.enabled = *isEnabled;
  const auto device = *isEnabled ? presentMultiOutput() : std::nullopt;
  if (!device) return report;
  report.aggregateExists = true;
  report.aggregateIsDefaultOutput = CoreAudioUtils::defaultOutput(hardware()) == device;
  for (const std::string& uid : multiOutput_.members(*device)) {
    if (uid == kBusUIDs[kBridgeBus]) report.bridgeInAggregate = true;
    if (!report.pairedOutputUID && !CoreAudioUtils::isOwnDeviceUID(uid)) report.pairedOutputUID = uid;
  }
  if (!report.pairedOutputUID) return report;
  const auto paired = CoreAudioUtils::deviceForUID(hardware(), *report.pairedOutputUID);
  report.pairedOutputResolves = paired.has_value();
  if (paired) report.pairedOutputName = CoreAudioUtils::deviceName(hardware(), *paired);
  return report;
}

// As a route.

// What the restarted server makes the default is nobody's choice.
void SystemAudioEngine::serverLost() {
  assertMain();
  rebuildEnd_.cancel();
  isReconfiguring_ = true;
  verify_.cancel();
  ear_.stop();
  multiOutputDeviceID_.reset();
  originalOutputDeviceID_.reset();
}

void SystemAudioEngine::revalidate(RevalidationReason reason) {
  assertMain();
  if (lacksDevice_ && bridge() && !outputCandidates(context_.devices).empty()) return void(setEnabled(true));
  if (reason == RevalidationReason::deviceChange) return;
  if (reason == RevalidationReason::serviceRestart) {
    isReconfiguring_ = false;
    refreshDevices();
    const OutputCandidate* present = *selectedOutput ? candidate((*selectedOutput)->uid) : nullptr;
    if (present && *present != **selectedOutput) selectedOutput.set(*present);
    originalOutputDeviceID_ = CoreAudioUtils::deviceForUID(hardware(), originalUID_);
    if (*isEnabled) multiOutputDeviceID_ = presentMultiOutput();
  }
  if (*isEnabled && !sapRouteReport().aggregateIsDefaultOutput && *selectedOutput) rebuild();
}

void SystemAudioEngine::reset(ResetRoutingResult& result) {
  assertMain();
  const ResetReport report = manualReset();
  result.droppedStaleMembers.insert(result.droppedStaleMembers.end(), report.staleMembers.begin(),
                                    report.staleMembers.end());
  result.sweptAggregates += report.sweptAggregates;
  result.rebuiltSystemAudio = report.wasEnabled;
}

RouteHealthEntry SystemAudioEngine::health() const {
  const SAPRouteReport report = sapRouteReport();
  const auto entry = [](RouteHealthVerdict verdict, std::string detail) {
    return RouteHealthEntry{"systemAudio", "System Audio", verdict, std::move(detail)};
  };
  if (!report.enabled) return entry(RouteHealthVerdict::inactive, errorMessage->value_or(""));
  if (!report.aggregateExists) return entry(RouteHealthVerdict::broken, "Output device missing — rebuilding");
  if (!report.bridgeInAggregate)
    return entry(RouteHealthVerdict::broken, "Bridge dropped from output — rebuilding");
  const std::string name = report.pairedOutputName.value_or("device");
  if (!report.pairedOutputResolves) return entry(RouteHealthVerdict::degraded, name + " disconnected");
  return entry(RouteHealthVerdict::healthy, "Output " + name);
}

RouteHealthEntry SystemAudioEngine::check(RevalidationReason reason) {
  assertMain();
  const RouteHealthEntry found = health();
  const SAPRouteReport report = sapRouteReport();
  if (!report.enabled) return found;
  if (!report.aggregateExists) {
    structuralRebuild(fmt::format("aggregate missing on {}", reasonText(reason)));
  } else if (!report.bridgeInAggregate) {
    structuralRebuild(fmt::format("bridge member missing on {}", reasonText(reason)));
  } else if (report.pairedOutputResolves) {
    listenToBridge();
    scheduleVerify(kPassVerifyDelay);
  }
  return found;
}

}  // namespace sonmere
