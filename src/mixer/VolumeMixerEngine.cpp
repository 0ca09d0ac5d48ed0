#include "mixer/VolumeMixerEngine.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/ThreadRules.h"
#include "dsp/Boost.h"
#include "mixer/DAWHint.h"
#include "mixer/MixerRows.h"

namespace sonmere {

namespace {

// How long a dragged volume waits for the drag to end before it is saved.
constexpr Duration kPersistDelay = fromMilliseconds(500);

bool sameObjects(const std::vector<AudioObjectID>& a, const std::vector<AudioObjectID>& b) {
  return std::set(a.begin(), a.end()) == std::set(b.begin(), b.end());
}

void applyLimiter(VolumeMixerTap& tap, const AppLimiterSettings& settings) {
  if (settings.isEnabled && !tap.limiterEnabled) tap.limiterGain = 1.0f;
  tap.apply(settings);
}

}  // namespace

VolumeMixerEngine::VolumeMixerEngine(EngineContext& context, std::shared_ptr<ClientGains> clientGains)
    : context_(context),
      clientGains_(std::move(clientGains)),
      store_(context.settings, context.log),
      taps_(context),
      output_(context, taps_.active) {
  appsState.silently() = store_.appsState();
  masterVolume.silently() = store_.masterVolume();
  directBundleIDs.silently() = store_.directApps();
  dawHintSeen.silently() = store_.dawHintSeen();
  outputEQSettings.silently() = store_.outputEQ();
  output_.setMasterVolume(*masterVolume);
  output_.setEqualiser(*outputEQSettings);
  output_.wantsRebuild = [this](Duration delay) { rebuildOutputSoon(delay); };
  taps_.fail = [this](const std::string& message) { tell(message); };
  registration_ = context.routes.add(*this);
}

VolumeMixerEngine::~VolumeMixerEngine() {
  flushPendingSaves();
  outputRebuild_.cancel();
  expect({});
  taps_.tearDownAll();
  output_.refreshSnapshot();
}

void VolumeMixerEngine::attach(const std::shared_ptr<AppSource>& source) {
  assertMain();
  source_ = source;
  wasAttached_ = true;
  availableAppsCancellable_ = source->rows().observe([this](const auto&) { syncTaps(); });
  hiddenAppsCancellable_ = source->hiddenBundleIDs().observe([this](const auto&) { syncTaps(); });
  AppEffects& effects = source->effects();
  eqSettingsCancellable_ = effects.eqSettings.observe([this](const auto&) { reapplyEffects(); });
  limiterSettingsCancellable_ = effects.appLimiterSettings.observe([this](const auto&) { reapplyEffects(); });
  previewCancellable_ = effects.preview.observe([this](const auto& preview) { previewEffect(preview); });
  boostCancellable_ = source->boostPermission().observe([this](bool) { clampVolumesToLimit(); });
  if (*isEnabled)
    syncTaps();
  else if (store_.isEnabled())
    restoreEnabled();
}

// As after a rebuild: an output that isn't there yet, at log-in or in an empty dock, is waited for.
void VolumeMixerEngine::restoreEnabled() {
  isEnabled.silently() = true;
  rebuildOutput();
  if (*isEnabled) isEnabled.set(true);
}

// On and off.

bool VolumeMixerEngine::setEnabled(bool enabled) {
  assertMain();
  // Before the server answers: a wish for attach().
  if (!wasAttached_) {
    store_.setEnabled(enabled);
    return true;
  }
  if (!enabled) {
    switchOff();
    tell(std::nullopt);
    return true;
  }
  if (*isEnabled) return true;
  store_.setEnabled(true);
  if (!buildOutput()) {
    store_.setEnabled(false);
    return false;
  }
  isEnabled.set(true);
  syncTaps();
  return *isEnabled;
}

void VolumeMixerEngine::switchOff() {
  if (!*isEnabled) return;
  store_.setEnabled(false);
  outputRebuild_.cancel();
  failedRebuilds_ = 0;
  releaseApps();
  output_.teardown();
  isEnabled.set(false);
}

void VolumeMixerEngine::releaseApps() {
  expect({});
  taps_.tearDownAll();
  output_.refreshSnapshot();
  publishHeard();
}

void VolumeMixerEngine::publishHeard() {
  std::set<std::string> heard;
  for (const auto& [bundleID, tap] : taps_.active)
    if (!tap->isMuted) heard.insert(bundleID);
  heardBundleIDs.setIfChanged(std::move(heard));
}

// Which apps get a tap.

void VolumeMixerEngine::syncTaps() {
  assertMain();
  // An observer of what happens below asked: once more, when this is over.
  mustSyncAgain_ = isSyncing_;
  if (isSyncing_) return;
  isSyncing_ = true;
  do {
    mustSyncAgain_ = false;
    syncOnce();
  } while (mustSyncAgain_);
  isSyncing_ = false;
}

void VolumeMixerEngine::syncOnce() {
  const auto source = source_.lock();
  // Without an output a tap would only silence its app.
  if (!*isEnabled || !output_.isRunning() || !source) return;
  expect(appsToCome(*source));
  std::set<std::string> seen;
  const std::vector<TappedAppInfo> rows = *source->rows();
  for (const TappedAppInfo& row : rows) {
    if (!output_.isRunning()) return;  // an observer of a failure has turned the mixer off
    seen.insert(row.bundleID);
    syncRow(*source, row);
  }
  std::vector<std::string> gone;
  for (const auto& [bundleID, tap] : taps_.active)
    if (!seen.contains(bundleID)) gone.push_back(bundleID);
  for (const std::string& bundleID : gone) taps_.tearDown(bundleID);
  output_.refreshSnapshot();
  publishHeard();
}

// All but those that will get no tap.
CaptureExpectation VolumeMixerEngine::appsToCome(const AppSource& source) const {
  CaptureExpectation apps{.bundleIDs = {}, .exclusive = true};
  const RowSets& rows = source.rowSets();
  for (const auto& bundleIDs : {rows.hiddenBundleIDs(), rows.removedBundleIDs(), *directBundleIDs})
    apps.bundleIDs.insert(bundleIDs.begin(), bundleIDs.end());
  apps.bundleIDs.insert(FamilyRules::hiddenSystemBundleIDs().begin(),
                        FamilyRules::hiddenSystemBundleIDs().end());
  apps.bundleIDs.insert(MixerRows::kSiriFamily.begin(), MixerRows::kSiriFamily.end());
  apps.bundleIDs.insert(context_.platform.applications().ownBundleID());
  return apps;
}

void VolumeMixerEngine::expect(CaptureExpectation apps) {
  if (apps == expected_) return;
  context_.hardware().expectCapture("mixer", apps);
  expected_ = std::move(apps);
}

bool VolumeMixerEngine::mustLeaveAlone(const AppSource& source, const std::string& bundleID) const {
  return source.isRouted(bundleID) || source.rowSets().hiddenBundleIDs().contains(bundleID) ||
         directBundleIDs->contains(bundleID);
}

void VolumeMixerEngine::syncRow(AppSource& source, const TappedAppInfo& row) {
  if (mustLeaveAlone(source, row.bundleID)) return taps_.tearDown(row.bundleID);
  if (const auto found = taps_.active.find(row.bundleID); found != taps_.active.end()) {
    if (sameObjects(found->second->audioObjectIDs, row.audioObjectIDs)) return;
    taps_.tearDown(row.bundleID);
  }
  if (!row.audioObjectIDs.empty() && MixerRows::canBeTapped(row.bundleID)) addTap(source, row);
}

void VolumeMixerEngine::addTap(AppSource& source, const TappedAppInfo& row) {
  const VolumeMixerAppState state = appState(row.bundleID);
  auto tap = std::make_shared<VolumeMixerTap>(row.bundleID, row.audioObjectIDs);
  tap->volume = state.volume;
  tap->isMuted = state.isMuted;
  applyEffects(source, *tap);
  if (!taps_.build(tap, row.name))
    context_.log.error(fmt::format("Failed to build tap for {}", row.bundleID));
}

void VolumeMixerEngine::applyEffects(AppSource& source, VolumeMixerTap& tap) const {
  tap.apply(source.effects().equaliserOf(tap.bundleID));
  applyLimiter(tap, source.effects().limiterOf(tap.bundleID));
}

void VolumeMixerEngine::reapplyEffects() {
  const auto source = source_.lock();
  if (!source) return;
  for (const auto& [bundleID, tap] : taps_.active) applyEffects(*source, *tap);
}

void VolumeMixerEngine::previewEffect(const AppEffectPreview& preview) {
  const auto found = taps_.active.find(preview.bundleID);
  if (found == taps_.active.end()) return;
  if (preview.equaliser) found->second->apply(*preview.equaliser);
  if (preview.limiter) applyLimiter(*found->second, *preview.limiter);
}

// Volumes.

VolumeMixerAppState VolumeMixerEngine::appState(const std::string& bundleID) const {
  const auto found = appsState->find(bundleID);
  return found == appsState->end() ? VolumeMixerAppState{} : found->second;
}

void VolumeMixerEngine::setVolume(const std::string& bundleID, float volume) {
  assertMain();
  const float clamped = clampAppVolume(volume, store_.boostAllowed());
  if (const auto found = taps_.active.find(bundleID); found != taps_.active.end())
    found->second->volume = clamped;
  appsState.update([&](auto& states) { states[bundleID].volume = clamped; });
  if (bundleID == FamilyRules::kSiriKey) pushClientGains();
  saveAppsStateSoon();
}

void VolumeMixerEngine::setMuted(const std::string& bundleID, bool muted) {
  assertMain();
  if (const auto found = taps_.active.find(bundleID); found != taps_.active.end()) {
    if (!muted) found->second->ring.requests.startLive = true;
    found->second->isMuted = muted;
  }
  publishHeard();
  appsState.update([&](auto& states) { states[bundleID].isMuted = muted; });
  if (bundleID == FamilyRules::kSiriKey) pushClientGains();
  saveAppsState();
}

void VolumeMixerEngine::setMasterVolume(float volume) {
  assertMain();
  const float clamped = clampMasterVolume(volume, store_.boostAllowed());
  if (clamped == *masterVolume) return;
  output_.setMasterVolume(clamped);
  store_.setMasterVolume(clamped);
  masterVolume.set(clamped);
}

void VolumeMixerEngine::clampVolumesToLimit() {
  assertMain();
  const bool boostAllowed = store_.boostAllowed();
  setMasterVolume(*masterVolume);
  auto states = *appsState;
  for (auto& [bundleID, state] : states) state.volume = clampAppVolume(state.volume, boostAllowed);
  if (states == *appsState) return;
  for (const auto& [bundleID, tap] : taps_.active)
    if (const auto found = states.find(bundleID); found != states.end()) tap->volume = found->second.volume;
  const bool siriChanged = states.contains(std::string(FamilyRules::kSiriKey));
  appsState.set(std::move(states));
  if (siriChanged) pushClientGains();
  saveAppsState();
}

void VolumeMixerEngine::pushClientGains() {
  const VolumeMixerAppState state = appState(std::string(FamilyRules::kSiriKey));
  auto gains = clientGains_->gains();
  for (const std::string_view client : MixerRows::kSiriFamily)
    gains[std::string(client)] = state.isMuted ? 0.0f : state.volume;
  clientGains_->setClientGains(std::move(gains));
}

void VolumeMixerEngine::setOutputEqualiser(const AppEQSettings& settings, SettingForm form) {
  assertMain();
  output_.setEqualiser(settings);
  if (form == SettingForm::live) return;
  store_.setOutputEQ(settings);
  outputEQSettings.set(settings);
}

// Direct.

bool VolumeMixerEngine::setDirect(const std::string& bundleID, bool direct) {
  assertMain();
  if (!MixerRows::canBeDirect(bundleID)) return false;
  if (direct == directBundleIDs->contains(bundleID)) return true;
  auto wanted = *directBundleIDs;
  direct ? (void)wanted.insert(bundleID) : (void)wanted.erase(bundleID);
  store_.setDirectApps(wanted);
  directBundleIDs.set(std::move(wanted));
  syncTaps();
  return true;
}

bool VolumeMixerEngine::shouldOfferDirect(const std::string& bundleID) const {
  return DAWHint::isListed(bundleID) && taps_.active.contains(bundleID) && !dawHintSeen->contains(bundleID);
}

void VolumeMixerEngine::markDAWHintSeen(const std::string& bundleID) {
  assertMain();
  if (dawHintSeen->contains(bundleID)) return;
  auto seen = *dawHintSeen;
  seen.insert(bundleID);
  store_.setDAWHintSeen(seen);
  dawHintSeen.set(std::move(seen));
}

// Saving.

void VolumeMixerEngine::saveAppsState() {
  persistDebounce_.cancel();
  store_.setAppsState(*appsState);
}

void VolumeMixerEngine::saveAppsStateSoon() {
  persistDebounce_ =
      context_.runtime.mainQueue().postAfter(kPersistDelay, [this] { store_.setAppsState(*appsState); });
  if (std::exchange(persistQuitFlushRegistered_, true)) return;
  quitFlush_ = context_.platform.powerEvents().observeWillTerminate([this] { flushPendingSaves(); });
}

void VolumeMixerEngine::flushPendingSaves() {
  assertMain();
  if (persistDebounce_) saveAppsState();
}

// Views.

VolumeMixerControl VolumeMixerEngine::controlOf(const std::string& bundleID) const {
  const auto source = source_.lock();
  if (!*isEnabled || !source) return VolumeMixerControl::none;
  if (source->isRouted(bundleID)) return VolumeMixerControl::routed;
  if (source->rowSets().hiddenBundleIDs().contains(bundleID)) return VolumeMixerControl::hidden;
  if (directBundleIDs->contains(bundleID)) return VolumeMixerControl::direct;
  if (!MixerRows::canBeTapped(bundleID)) return VolumeMixerControl::driver;
  return taps_.active.contains(bundleID) ? VolumeMixerControl::mixer : VolumeMixerControl::none;
}

VolumeMixerEngine::TapLatencySnapshot VolumeMixerEngine::tapLatencySnapshot() const {
  TapLatencySnapshot snapshot{.taps = {}, .sampleRate = output_.deviceRate()};
  for (const auto& [bundleID, tap] : taps_.active)
    if (!tap->isMuted) snapshot.taps.push_back(tap->latencyStats());
  return snapshot;
}

std::vector<RingReport> VolumeMixerEngine::latencyRings() const {
  const TapLatencySnapshot snapshot = tapLatencySnapshot();
  std::vector<RingReport> rows;
  for (const TapLatencyStats& tap : snapshot.taps)
    rows.push_back({.id = tap.bundleID,
                    .backlogMs = stereoMilliseconds(tap.backlogSamples, snapshot.sampleRate),
                    .peakMs = stereoMilliseconds(tap.maxBacklogSamples, snapshot.sampleRate),
                    .underruns = tap.underruns,
                    .starves = tap.starves,
                    .overflows = tap.overflows,
                    .reads = tap.reads,
                    .writeFrames = tap.writeSamples / 2,
                    .readFrames = tap.readSamples / 2});
  return rows;
}

std::shared_ptr<const SpectrumRing> VolumeMixerEngine::fftBuffer(const std::string& bundleID) const {
  if (bundleID == MixerRows::kOutputKey) {
    const auto& context = output_.context();
    return context ? std::shared_ptr<const SpectrumRing>(context, &context->outputFFTBuffer) : nullptr;
  }
  const auto found = taps_.active.find(bundleID);
  if (found == taps_.active.end()) return nullptr;
  return {found->second, &found->second->spectrum};
}

}  // namespace sonmere
