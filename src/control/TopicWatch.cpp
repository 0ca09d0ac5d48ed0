#include "control/TopicWatch.h"

#include <algorithm>

namespace sonmere {

namespace {
// The engines follow a change of the devices within this time.
constexpr Duration kDevicesSettle = fromMilliseconds(1500);
// A change in one of them may be one of how a route fares.
const TopicSet kOfRoutes{Topic::mixer, Topic::routing, Topic::input, Topic::monitor, Topic::devices};
}  // namespace

TopicWatch::~TopicWatch() {
  for (const auto* const all : {&listeners_, &rateListeners_})
    for (const ListenerID listener : *all) app_.context().platform.hardware().removeListener(listener);
}

Subscription TopicWatch::observe(std::function<void(const TopicSet&)> observer) {
  if (!std::exchange(isListening_, true)) listen();
  return told_.observe(std::move(observer));
}

void TopicWatch::mark(const TopicSet& topics) {
  if (!isListening_) return;
  // What ails an engine shows in its own topic too.
  if (std::ranges::any_of(topics, [](Topic topic) { return kOfRoutes.contains(topic); }))
    marked_.insert(Topic::routes);
  marked_.insert(topics.begin(), topics.end());
  if (!tell_) tell_ = app_.context().runtime.mainQueue().postAfter(Duration::zero(), [this] { tell(); });
}

void TopicWatch::tell() {
  tell_ = {};
  told_.set(std::exchange(marked_, {}));
}

void TopicWatch::listen() {
  listenToRouting();
  listenToInput();
  listenToMonitor();
  listenToRoutes();
  listenToSystem();
  listenToRecordings();
  listenToDevices();
}

void TopicWatch::listenToRouting() {
  AppTapEngine& routing = *app_.appTapEngine();
  on(routing.availableApps, {Topic::apps, Topic::routing, Topic::effects, Topic::monitor, Topic::mix});
  on(routing.errorMessage(), {Topic::routing});
  on(routing.hiddenBundleIDs(), {Topic::apps});
  on(routing.boostAllowed, {Topic::mixer, Topic::settings});
  on(routing.profiles(), {Topic::routing});
  on(routing.effects().eqSettings, {Topic::effects});
  on(routing.effects().appLimiterSettings, {Topic::effects});
  on(routing.effects().masterEQSettings, {Topic::effects});
  on(routing.effects().masterLimiterSettings, {Topic::effects});
  on(app_.trackNames().trackNames, {Topic::routing});
  VolumeMixerEngine& mixer = *app_.volumeMixerEngine();
  on(mixer.isEnabled, {Topic::mixer, Topic::apps, Topic::settings});
  on(mixer.appsState, {Topic::apps});
  on(mixer.masterVolume, {Topic::mixer, Topic::settings});
  on(mixer.errorMessage, {Topic::mixer});
  on(mixer.directBundleIDs, {Topic::apps});
  on(mixer.outputEQSettings, {Topic::mixer});
  on(mixer.heardBundleIDs, {Topic::apps, Topic::mixer});
  on(app_.pluginChains().pluginChainRevision, {Topic::plugins});
  on(app_.pluginChains().errorMessage, {Topic::plugins});
}

void TopicWatch::listenToInput() {
  MicPassthroughEngine& mic = *app_.micEngine();
  on(mic.isEnabled, {Topic::input, Topic::settings});
  on(mic.errorMessage, {Topic::input});
  on(mic.micVolume, {Topic::input});
  on(mic.newlyAvailableInput, {Topic::input});
  on(mic.devices().availableMics, {Topic::input});
  on(mic.devices().selectedMicID, {Topic::input});
  on(mic.extras().extraSources, {Topic::input});
  on(mic.hearMic, {Topic::monitor});
  on(mic.monitorVolume, {Topic::monitor});
  InputPinEngine& lock = *app_.inputPinEngine();
  on(lock.isEnabled, {Topic::input});
  on(lock.pinnedDevicePresent, {Topic::input});
  on(lock.sessionRestoreCount, {Topic::input});
}

void TopicWatch::listenToMonitor() {
  const RoutingMonitors& hearing = app_.appTapEngine()->monitors();
  on(hearing.monitorEnabledBundleIDs, {Topic::monitor});
  on(hearing.masterMonitorEnabledForBus, {Topic::monitor});
  on(hearing.masterGains, {Topic::monitor});
  on(app_.context().monitors.isOn, {Topic::monitor});
  on(app_.context().monitors.enabledCount, {Topic::monitor});
  MonitorOutput& monitor = *app_.monitorOutput();
  on(monitor.monitorRunning, {Topic::monitor});
  on(monitor.availableMonitorDevices, {Topic::monitor});
  on(monitor.monitorOutputDeviceName, {Topic::monitor});
  on(monitor.errorMessage, {Topic::monitor});
}

void TopicWatch::listenToRoutes() {
  RouteRecoveryCoordinator& recovery = app_.routeRecovery();
  on(recovery.routeHealth, {Topic::routes});
  on(recovery.isResetting, {Topic::routes});
  DriverManager& driver = app_.driverManager();
  for (const Observable<bool>* const fact : {&driver.isInstalled, &driver.isActive, &driver.isAudioFlowing})
    on(*fact, {Topic::driver, Topic::routes});
  on(driver.selectedSampleRate, {Topic::driver});
  on(driver.pathWarning, {Topic::driver});
}

void TopicWatch::listenToRecordings() {
  BusRecordings& recordings = *app_.recordings();
  on(recordings.busRecordingStatuses, {Topic::recording});
  on(recordings.errorMessage, {Topic::recording});
  on(app_.dualMonoEngine()->layout, {Topic::recording, Topic::settings});
  on(app_.micEngine()->isEnabled, {Topic::recording});
  on(recordings.silentRecordingNotice, {Topic::recording});
  on(recordings.fileNotice, {Topic::recording});
  on(recordings.lossNotice, {Topic::recording});
  on(recordings.endNotice, {Topic::recording});
  on(recordings.preroll().state, {Topic::recording});
  on(recordings.spaceNotice, {Topic::recording});
  on(recordings.defaultRecordingFormat, {Topic::recording, Topic::settings});
  RecordingsLibrary& library = *app_.recordingsLibrary();
  on(library.sessions, {Topic::library});
  on(library.isScanning, {Topic::library});
  on(library.folderUnavailable, {Topic::library});
  on(library.folderInUse, {Topic::library, Topic::settings});
}

void TopicWatch::listenToSystem() {
  DAWAggregateEngine& daw = *app_.dawAggregateEngine();
  on(daw.isEnabled, {Topic::daw});
  on(daw.aggregateDeviceID, {Topic::daw});
  on(daw.errorMessage, {Topic::daw});
  CombinedInputEngine& combined = *app_.combinedInputEngine();
  on(combined.wish, {Topic::daw});
  on(combined.device, {Topic::daw});
  on(combined.errorMessage, {Topic::daw});
  SystemAudioEngine& system = *app_.systemAudioEngine();
  on(system.isEnabled, {Topic::system});
  on(system.availableOutputDevices, {Topic::system});
  on(system.selectedOutput, {Topic::system});
  on(system.followSystemDefault, {Topic::system});
  on(system.errorMessage, {Topic::system});
  MixModeEngine& mix = *app_.mixModeEngine();
  on(mix.isEnabled, {Topic::mix});
  on(mix.includeSystemAudio, {Topic::mix});
  on(mix.systemAudioVolume, {Topic::mix});
  on(mix.previewStreamMix, {Topic::mix});
  on(mix.hearDAWTracks, {Topic::mix});
  on(mix.dawTrackVolumes, {Topic::mix});
  on(mix.dawTrackMuted, {Topic::mix});
  on(app_.appTapEngine()->mixMode().watchdog().healCount, {Topic::mix});
}

void TopicWatch::listenTo(AudioObjectID object, AudioProperty property, std::vector<ListenerID>& listeners,
                          void (TopicWatch::*changed)()) {
  const auto added = app_.context().platform.hardware().addListener(
      object, property, AudioScope::global, app_.context().runtime.mainQueue(),
      lifetime_.guard([this, changed] { (this->*changed)(); }));
  if (added) listeners.push_back(*added);
}

void TopicWatch::listenToDevices() {
  for (const AudioProperty property :
       {AudioProperty::devices, AudioProperty::defaultOutput, AudioProperty::defaultInput,
        AudioProperty::serviceRestarted, AudioProperty::serviceLost})
    listenTo(kAudioObjectSystemObject, property, listeners_, &TopicWatch::devicesChanged);
  listenToRates();
}

// All anew: after a restart of the server an identifier may be another device's.
void TopicWatch::listenToRates() {
  AudioHardware& hardware = app_.context().platform.hardware();
  for (const ListenerID listener : std::exchange(rateListeners_, {})) hardware.removeListener(listener);
  for (const AudioDeviceID device : hardware.devices().value_or(std::vector<AudioDeviceID>{}))
    listenTo(device, AudioProperty::nominalSampleRate, rateListeners_, &TopicWatch::rateChanged);
}

void TopicWatch::devicesChanged() {
  listenToRates();
  const TopicSet concerned{Topic::devices, Topic::mixer, Topic::routing, Topic::daw, Topic::system};
  mark(concerned);
  settled_ =
      app_.context().runtime.mainQueue().postAfter(kDevicesSettle, [this, concerned] { mark(concerned); });
}

}  // namespace sonmere
