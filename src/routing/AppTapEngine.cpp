#include "routing/AppTapEngine.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "apps/FamilyRules.h"
#include "base/ThreadRules.h"
#include "dsp/Boost.h"

namespace sonmere {

namespace {

constexpr const char* kBoostAllowedKey = "sonmere.boostAllowed";
constexpr Duration kVolumeSaveDelay = fromMilliseconds(500);
constexpr Duration kLevelInterval = fromMilliseconds(33);
constexpr const char* kMicSendsKey = "sonmere.mic.sends";
constexpr double kMaxMicSend = 2;

void addMonitorRow(std::vector<RingReport>& rows, std::string id, const MonitorSource& monitor, double rate) {
  if (monitor.isEnabled() && monitor.ring()) rows.push_back(ringReport(std::move(id), *monitor.ring(), rate));
}

bool readBoostAllowed(EngineContext& context) {
  const bool allowed = context.settings.optionalBool(kBoostAllowedKey).value_or(true);
  context.flags.boostAllowed = allowed;
  return allowed;
}

}  // namespace

AppTapEngine::AppTapEngine(EngineContext& context)
    : context_(context),
      core_(context),
      rowSets_(context.settings),
      state_(context.settings, readBoostAllowed(context)),
      profiles_(context.settings, context.runtime),
      effects_(core_),
      outputs_(core_),
      taps_(core_, outputs_),
      deviceOutputs_(core_, taps_),
      chains_(core_, outputs_),
      monitors_(core_, taps_),
      mixMode_(core_, taps_, monitors_),
      discovery_(context) {
  boostAllowed.silently() = context.flags.boostAllowed;
  outputs_.didStart = [this](int bus) {
    taps_.matchRates(bus);
    chains_.update();
  };
  taps_.loadEffects = [this](SingleAppTap& tap) { effects_.load(tap); };
  taps_.tapsDidChange = [this] {
    deviceOutputs_.update();
    reconcileLevelTimer();
    chains_.update();
    monitors_.update();
    mixMode_.update();
  };
  taps_.tapLost = [this](const SingleAppTap& tap) {
    revertRoute(tap.bundleID, tap.pid);
    retryRoutesSoon();
  };
  discovery_.refresh = [this] { refreshApps(); };
  rowSets_.didChange = [this] { refreshApps(); };
  discovery_.callStateChanged = [this](bool isActive) { rowSets_.applyCallState(isActive); };
}

AppTapEngine::~AppTapEngine() {
  flushPendingSaves();
  taps_.tapsDidChange = nullptr;
  deviceOutputs_.close();
  mixMode_.close();
  chains_.close();
  monitors_.close();
  core_.render->engineAlive = false;
  outputs_.close();
  core_.hardware().expectCapture("routing", {});
  while (!core_.activeTaps.empty()) taps_.stopTap(std::string(core_.activeTaps.begin()->first));
  context_.rendering.waitForTeardown();
}

// The microphone's levels on the buses.
void AppTapEngine::loadMicSends() {
  const auto sends = context_.settings.dictionary(kMicSendsKey);
  if (!sends) return;
  for (int bus = 0; bus < kBusCount; ++bus) {
    const auto found = sends->find(std::to_string(bus));
    if (found == sends->end()) continue;
    const auto* const whole = found->second.as<std::int64_t>();
    const auto* const number = found->second.as<double>();
    const double level = whole ? double(*whole) : number ? *number : 0;
    if (!(level > 0 && level <= kMaxMicSend)) continue;
    context_.micSend.gains[std::size_t(bus)] = float(level);
    outputs_.reconcile(bus);
  }
}

void AppTapEngine::start() {
  assertMain();
  expectRoutes();
  discovery_.installListeners();
  if (const OSStatus status = context_.devices.start(); status != noErr)
    context_.log.error(
        fmt::format("AppTapEngine: failed to register device-list listener (status={})", status));
  registration_ = context_.routes.add(*this);
  refreshApps();
  loadMicSends();
}

// Rows.

const TappedAppInfo* AppTapEngine::row(const std::string& bundleID) const {
  const auto found = std::ranges::find(*availableApps, bundleID, &TappedAppInfo::bundleID);
  return found == availableApps->end() ? nullptr : &*found;
}

TappedAppInfo* AppTapEngine::findRow(const std::string& bundleID) {
  return const_cast<TappedAppInfo*>(row(bundleID));
}

// Routing.

std::vector<std::string> AppTapEngine::routedBundleIDs() const {
  std::vector<std::string> apps;
  for (const auto& [bundleID, tap] : core_.activeTaps) apps.push_back(bundleID);
  return apps;
}

std::vector<std::string> AppTapEngine::appsOn(int bus) const {
  std::vector<std::string> apps;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (tap->busIndex == bus && !tap->isOnDevice()) apps.push_back(bundleID);
  return apps;
}

std::optional<std::string> AppTapEngine::outputDeviceName(const std::string& bundleID) const {
  const AppOutputRenderer* const renderer = deviceOutputs_.rendererOf(bundleID);
  return renderer ? std::optional(renderer->deviceName()) : std::nullopt;
}

void AppTapEngine::publishRows() {
  availableApps.update([](auto&) {});
}

void AppTapEngine::revertRoute(const std::string& bundleID, ProcessID pid) {
  context_.log.error(fmt::format("startTap failed for {} (pid {}) — reverted to not-routed", bundleID, pid));
  if (TappedAppInfo* row = findRow(bundleID)) {
    row->isEnabled = false;
    row->level = 0;
  }
  publishRows();
}

// Apps that are to be routed are heard by their taps from their first frame on.
void AppTapEngine::expectRoutes() {
  CaptureExpectation routes;
  if (state_.isGlobalEnabled())
    for (const std::string& bundleID : state_.intended())
      if (!rowSets_.removedBundleIDs().contains(bundleID)) routes.bundleIDs.insert(bundleID);
  core_.hardware().expectCapture("routing", std::move(routes));
}

bool AppTapEngine::setRouted(const std::string& bundleID, bool routed) {
  assertMain();
  if (!findRow(bundleID)) return false;
  state_.setIntended(bundleID, routed);
  saveState();
  if (!routed) core_.failures.end(RoutingFailures::ofApp(bundleID));
  const bool isDone = reconcileRoute(bundleID);
  // A row that only its wish has kept goes.
  if (!routed && !core_.tapOf(bundleID)) scheduleRefresh();
  if (isDone) publishRows();
  return isDone;
}

bool AppTapEngine::reconcileRoute(const std::string& bundleID) {
  const TappedAppInfo* row = findRow(bundleID);
  if (!row) return true;
  const bool isRunning = !row->audioObjectIDs.empty();
  const bool isWanted = state_.isGlobalEnabled() && state_.isIntended(bundleID);
  const auto tap = core_.tapOf(bundleID);
  if (isWanted && isRunning && !tap) {
    const TappedAppInfo app = *row;
    if (!taps_.startTap(app)) {
      revertRoute(bundleID, app.id);
      return false;
    }
  }
  if (tap && !isWanted) taps_.stopTap(tap->bundleID);
  // Looked up again: whoever observed a message may have changed the rows.
  if (TappedAppInfo* now = findRow(bundleID)) {
    now->isEnabled = core_.tapOf(bundleID) != nullptr;
    if (!now->isEnabled) now->level = 0;
  }
  return true;
}

bool AppTapEngine::isRouteWaiting(const std::string& bundleID) const {
  const TappedAppInfo* found = row(bundleID);
  return found && found->audioObjectIDs.empty() && state_.isGlobalEnabled() && state_.isIntended(bundleID);
}

void AppTapEngine::setGlobalEnabled(bool enabled) {
  assertMain();
  if (enabled == state_.isGlobalEnabled()) return;
  state_.setGlobalEnabled(enabled);
  saveState();
  for (const TappedAppInfo& row : std::vector(*availableApps)) reconcileRoute(row.bundleID);
  publishRows();
}

std::vector<AppProfileEntry> AppTapEngine::routedApps() {
  assertMain();
  saveState();
  std::vector<AppProfileEntry> apps;
  for (const std::string& bundleID : state_.intended()) apps.push_back(state_.entry(bundleID));
  return apps;
}

std::optional<RoutingProfile> AppTapEngine::saveProfile(const std::string& name) {
  return profiles_.save(name, routedApps());
}

bool AppTapEngine::applyProfile(const std::string& id) {
  assertMain();
  const RoutingProfile* found = profiles_.find(id);
  return found && applyRouting(std::vector(found->apps));
}

bool AppTapEngine::applyRouting(const std::vector<AppProfileEntry>& apps) {
  assertMain();
  saveState();
  for (const std::string& bundleID : std::set(state_.intended())) state_.setIntended(bundleID, false);
  for (AppProfileEntry entry : apps) {
    entry.volume = clampAppVolume(entry.volume, context_.flags.boostAllowed);
    state_.adopt(entry);
    if (TappedAppInfo* row = findRow(entry.bundleID)) state_.restore(*row);
  }
  saveState();
  bool isDone = true;
  for (const TappedAppInfo& row : std::vector(*availableApps)) {
    isDone &= reconcileRoute(row.bundleID);
    isDone &= applyRowToTap(row.bundleID);
  }
  publishRows();
  return isDone;
}

bool AppTapEngine::applyRowToTap(const std::string& bundleID) {
  const auto tap = core_.tapOf(bundleID);
  const TappedAppInfo* row = findRow(bundleID);
  if (!tap || !row) return true;
  applyVolumes(*row);
  tap->isMuted = row->isMuted;
  taps_.moveTap(tap->bundleID, isRoutableBus(row->busIndex) ? row->busIndex : kBridgeBus);
  return taps_.applyMuteRule(tap->bundleID);
}

bool AppTapEngine::setBus(const std::string& bundleID, int bus) {
  assertMain();
  TappedAppInfo* row = findRow(bundleID);
  if (!row || !isRoutableBus(bus)) return false;
  row->busIndex = bus;
  saveState();
  bool isRendered = true;
  if (const auto tap = core_.tapOf(bundleID)) {
    taps_.moveTap(tap->bundleID, bus);
    isRendered = taps_.applyMuteRule(tap->bundleID);
  }
  publishRows();
  return isRendered;
}

bool AppTapEngine::setOutput(const std::string& bundleID, const OutputWish& wish) {
  assertMain();
  TappedAppInfo* row = findRow(bundleID);
  if (!row) return false;
  row->outputDeviceUID = wish.deviceUID.empty() ? std::nullopt : std::optional(wish.deviceUID);
  row->outputLeftChannel = wish.left;
  row->outputRightChannel = wish.right;
  saveState();
  const bool isDone = deviceOutputs_.choose(bundleID, wish);
  publishRows();
  return isDone;
}

bool AppTapEngine::setVolume(const std::string& bundleID, float volume) {
  assertMain();
  TappedAppInfo* row = findRow(bundleID);
  if (!row) return false;
  row->volume = clampAppVolume(volume, context_.flags.boostAllowed);
  if (row->monitorLinked) row->monitorVolume = row->volume;
  applyVolumes(*row);
  saveVolumeSoon();
  publishRows();
  return true;
}

void AppTapEngine::applyVolumes(const TappedAppInfo& row) {
  const auto tap = core_.tapOf(row.bundleID);
  if (!tap) return;
  tap->volume = row.volume;
  tap->monitorVolume = row.monitorVolume;
}

bool AppTapEngine::setMuted(const std::string& bundleID, bool muted) {
  assertMain();
  TappedAppInfo* row = findRow(bundleID);
  if (!row) return false;
  row->isMuted = muted;
  saveState();
  bool isRendered = true;
  if (const auto tap = core_.tapOf(bundleID)) {
    tap->isMuted = muted;
    isRendered = taps_.applyMuteRule(tap->bundleID);
  }
  publishRows();
  return isRendered;
}

bool AppTapEngine::setMonitorVolume(const std::string& bundleID, float volume) {
  assertMain();
  TappedAppInfo* row = findRow(bundleID);
  if (!row) return false;
  row->monitorVolume = clampAppVolume(volume, context_.flags.boostAllowed);
  applyVolumes(*row);
  saveVolumeSoon();
  publishRows();
  return true;
}

bool AppTapEngine::setMonitorLinked(const std::string& bundleID, bool linked) {
  assertMain();
  TappedAppInfo* row = findRow(bundleID);
  if (!row) return false;
  row->monitorLinked = linked;
  if (linked) row->monitorVolume = row->volume;
  if (const auto tap = core_.tapOf(bundleID)) tap->levelFollowsVolume = linked;
  applyVolumes(*row);
  saveState();
  publishRows();
  return true;
}

void AppTapEngine::setBoostAllowed(bool allowed) {
  assertMain();
  context_.settings.set(kBoostAllowedKey, allowed);
  context_.flags.boostAllowed = allowed;
  for (TappedAppInfo& row : availableApps.silently()) {
    row.volume = clampAppVolume(row.volume, allowed);
    row.monitorVolume = clampAppVolume(row.monitorVolume, allowed);
    applyVolumes(row);
  }
  state_.clampVolumes(allowed);
  saveState();
  boostAllowed.set(allowed);
  publishRows();
}

void AppTapEngine::setMicSend(int bus, float gain) {
  assertMain();
  if (!isBus(bus)) return;
  context_.micSend.gains[std::size_t(bus)] = gain;
  SettingsValue::Dictionary sends;
  for (int each = 0; each < kBusCount; ++each)
    if (const float level = context_.micSend.gains[std::size_t(each)]; level > 0)
      sends[std::to_string(each)] = level;
  context_.settings.set(kMicSendsKey, sends);
  outputs_.reconcile(bus);
}

void AppTapEngine::setDualMono(bool on) {
  assertMain();
  context_.flags.dualMono = on;
  outputs_.reconcile(kBridgeBus);
}

void AppTapEngine::saveState() {
  volumeSaveDebounce_.cancel();
  for (const TappedAppInfo& row : *availableApps) state_.note(row);
  state_.save();
  expectRoutes();
}

void AppTapEngine::saveVolumeSoon() {
  volumeSaveDebounce_ = context_.runtime.mainQueue().postAfter(kVolumeSaveDelay, [this] { saveState(); });
}

void AppTapEngine::flushPendingSaves() {
  assertMain();
  if (volumeSaveDebounce_) saveState();
}

// Devices and recovery.

void AppTapEngine::serverLost() {
  assertMain();
  outputs_.dropAll();
  deviceOutputs_.forget();
  mixMode_.serverLost();
  discovery_.forgetObjects();
}

void AppTapEngine::revalidate(RevalidationReason reason) {
  assertMain();
  outputs_.reconcileDevices();
  if (reason == RevalidationReason::wake || reason == RevalidationReason::manual) deviceOutputs_.restart();
  if (reason != RevalidationReason::deviceChange) {
    refreshApps();
    taps_.recheckTaps();
    failedRetries_ = 0;
    retryRoutes();
  }
  deviceOutputs_.reconcileDevices();
  mixMode_.update();
  publishRows();
}

RouteHealthEntry AppTapEngine::check(RevalidationReason) {
  assertMain();
  taps_.recheckTaps();
  return health();
}

RouteHealthEntry AppTapEngine::health() const {
  RouteHealthEntry entry{"routing", "Per-App Routing", RouteHealthVerdict::healthy, ""};
  if (!state_.isGlobalEnabled() || state_.intended().empty()) {
    entry.verdict = RouteHealthVerdict::inactive;
  } else if (const auto& error = *core_.failures.shown) {
    entry.verdict = RouteHealthVerdict::broken;
    entry.detail = *error;
  } else if (const auto unmet = deviceOutputs_.unmetWishes(); !unmet.empty()) {
    entry.verdict = RouteHealthVerdict::degraded;
    entry.detail = fmt::format("{}", fmt::join(unmet, ", "));
  }
  return entry;
}

// Recording.

void AppTapEngine::setRecorderRing(int bus, std::shared_ptr<RecorderRing> ring) {
  assertMain();
  if (!isBus(bus)) return;
  const bool isRecorded = ring != nullptr;
  core_.render->masters[std::size_t(bus)].recorder.publish(std::move(ring), core_.retirement, kSnapshotGrace);
  // The file no longer holds the bus at its rate, once whoever recorded has let go of it.
  if (!isRecorded)
    rateChecks_[std::size_t(bus)] =
        context_.runtime.mainQueue().postAfter(Duration::zero(), [this, bus] { outputs_.check(bus); });
}

double AppTapEngine::busSampleRate(int bus) const { return outputs_.rateOrDefault(bus); }

float AppTapEngine::busLimiterGain(int bus) const {
  return core_.render->masters[std::size_t(bus)].limiterGain;
}

const SpectrumRing& AppTapEngine::busSpectrum(int bus) const {
  return core_.render->masters[std::size_t(bus)].spectrum;
}

double AppTapEngine::sampleRateOf(const SingleAppTap& tap) const {
  const AppOutputRenderer* const renderer = deviceOutputs_.rendererOf(tap.bundleID);
  return renderer ? renderer->sampleRate() : busSampleRate(tap.busIndex);
}

// Meters.

void AppTapEngine::setMetersVisible(bool visible) {
  assertMain();
  metersVisible_ = visible;
  reconcileLevelTimer();
}

void AppTapEngine::reconcileLevelTimer() {
  const bool wanted = metersVisible_ && !core_.activeTaps.empty();
  if (wanted == bool(levelTimer_)) return;
  if (wanted)
    levelTimer_ = context_.runtime.mainQueue().repeat(kLevelInterval, [this] { copyLevels(); });
  else
    levelTimer_.cancel();
}

void AppTapEngine::copyLevels() {
  for (TappedAppInfo& row : availableApps.silently())
    if (const auto tap = core_.tapOf(row.bundleID)) row.level = tap->level;
}

std::vector<RingReport> AppTapEngine::latencyRings() const {
  const double rate = core_.bridgeRate().value_or(kFallbackRate);
  std::vector<RingReport> rows;
  for (const auto& [bundleID, tap] : core_.activeTaps) {
    rows.push_back(ringReport("route:" + bundleID, tap->ring, rate));
    addMonitorRow(rows, "monitor:" + bundleID, tap->monitor, rate);
  }
  for (int bus = 0; bus < kBusCount; ++bus)
    addMonitorRow(rows, fmt::format("monitor:master bus {}", bus),
                  core_.render->masters[std::size_t(bus)].monitor, rate);
  return rows;
}

}  // namespace sonmere
