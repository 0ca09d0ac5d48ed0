#include "routing/TapLifecycle.h"

#include <fmt/format.h>

#include <cmath>
#include <set>

#include "audio/device/CoreAudioUtils.h"
#include "base/UUID.h"

namespace sonmere {

namespace {

// Of the capture of an app that plays on a device of its own.
constexpr std::uint32_t kDeviceTapFrames = 128;

}  // namespace

AudioDeviceID presentDevice(AudioHardware& hardware, const OutputWish& wish) {
  if (wish.deviceUID.empty() || CoreAudioUtils::isOwnDeviceUID(wish.deviceUID)) return kAudioObjectUnknown;
  return CoreAudioUtils::deviceForUID(hardware, wish.deviceUID).value_or(kAudioObjectUnknown);
}

TapLifecycle::TapLifecycle(RoutingCore& core, BusOutputs& outputs) : core_(core), outputs_(outputs) {}

TapLifecycle::~TapLifecycle() {
  while (!core_.activeTaps.empty()) stopTap(std::string(core_.activeTaps.begin()->first));
}

bool TapLifecycle::checkPlatform(const std::string& bundleID) {
  if (core_.hardware().supportsProcessTaps()) return true;
  core_.fail(RoutingFailures::ofApp(bundleID),
             fmt::format("Per-app routing requires {}.", core_.context.platform.words().tapsNeed));
  return false;
}

bool TapLifecycle::wantsMutedTap(const SingleAppTap& tap) const {
  const auto bus = std::size_t(clampBus(tap.busIndex));
  return tap.isMuted || core_.render->masters[bus].monitor.isEnabled() || tap.monitor.isEnabled() ||
         tap.isOnDevice() || mixModeIsEnabled;
}

// The aggregate delivers at the rate of the bus, so that the ring needs no conversion.
void TapLifecycle::matchRate(const SingleAppTap& tap) {
  if (tap.objects.aggDeviceID == kAudioObjectUnknown || tap.isOnDevice()) return;
  const double wanted = outputs_.rateOrDefault(clampBus(tap.busIndex));
  const auto present = core_.hardware().nominalSampleRate(tap.objects.aggDeviceID);
  if (present && std::abs(*present - wanted) < kSameRateHz) return;
  core_.hardware().setNominalSampleRate(tap.objects.aggDeviceID, wanted);
}

void TapLifecycle::matchRates(int bus) {
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (clampBus(tap->busIndex) == bus) matchRate(*tap);
}

void TapLifecycle::reportFailure(const SingleAppTap& tap, const TapAggregateFailure& failure) {
  const auto tell = [&](const std::string& line, std::string message) {
    core_.log().error(line);
    core_.failures.tell(RoutingFailures::ofApp(tap.bundleID), std::move(message));
  };
  const OSStatus status = failure.status;
  switch (failure.step) {
    case TapAggregateStep::createTap: {
      Platform& platform = core_.context.platform;
      const PermissionStatus permission = platform.permissions().status(Permission::audioCapture);
      return tell(fmt::format("Sonmere: Failed to create process tap for {}: {}", tap.bundleID, status),
                  permission == PermissionStatus::denied ? std::string(platform.words().captureDenied)
                  : permission == PermissionStatus::restricted
                      ? std::string(platform.words().captureRestricted)
                      : fmt::format("Failed to tap {}: error {}", tap.bundleID, status));
    }
    case TapAggregateStep::readTapUID:
      return tell(fmt::format("Sonmere: Failed to get tap UID after retries: {}", status),
                  fmt::format("Failed to get tap UID for {}", tap.bundleID));
    case TapAggregateStep::createAggregate:
      return tell(fmt::format("Sonmere: Failed to create aggregate device: {}", status),
                  fmt::format("Failed to create aggregate for {}", tap.bundleID));
    case TapAggregateStep::createIOProc:
      return tell(fmt::format("Sonmere: Failed to create IO proc: {}", status),
                  fmt::format("Failed to create IO proc for {}", tap.bundleID));
    case TapAggregateStep::startDevice:
      return tell(fmt::format("Sonmere: Failed to start IO: {}", status),
                  fmt::format("Failed to start tap for {}", tap.bundleID));
  }
}

TapAggregatePlan TapLifecycle::makePlan(SingleAppTap& tap, bool muted) {
  TapAggregatePlan plan;
  plan.tap = {.name = "Sonmere Tap - " + tap.bundleID,
              .processes = tap.audioObjectIDs,
              .isPrivate = true,
              .exclusive = false,
              .mute = muted ? TapMute::muted : TapMute::unmuted};
  plan.aggregateUID = fmt::format("Sonmere_AppTap_{}_{}", tap.pid, makeShortUUID(core_.runtime()));
  plan.aggregateName = "Sonmere Tap - " + tap.bundleID;
  plan.procedure = captureProcedure;
  plan.clientData = static_cast<CaptureTap*>(&tap);
  plan.beforeSettling = [this, &tap](AudioDeviceID aggregate) {
    tap.objects.aggDeviceID = aggregate;
    matchRate(tap);
    // The device's render holds its backlog low, and a refusal only costs delay.
    if (tap.isOnDevice()) core_.hardware().setBufferFrameSize(aggregate, kDeviceTapFrames);
    // Not for its result: the read makes the server settle the new device.
    (void)core_.hardware().streamConfiguration(aggregate, AudioScope::input);
  };
  plan.report = [this, &tap](const TapAggregateFailure& failure) { reportFailure(tap, failure); };
  return plan;
}

bool TapLifecycle::createPlatformObjects(SingleAppTap& tap, bool muted) {
  if (!checkPlatform(tap.bundleID)) return false;
  const auto made = buildTapAggregate(core_.hardware(), core_.runtime(), makePlan(tap, muted));
  tap.objects = made.value_or(TapAggregate{});
  tap.createdMuted = muted;
  if (made) core_.failures.end(RoutingFailures::ofApp(tap.bundleID));
  return made.has_value();
}

void TapLifecycle::adoptOutput(SingleAppTap& tap, const TappedAppInfo& app) {
  tap.wish = {app.outputDeviceUID.value_or(""), app.outputLeftChannel, app.outputRightChannel};
  if (tap.wish.deviceUID.empty()) return;
  tap.outputDeviceID = presentDevice(core_.hardware(), tap.wish);
  if (!tap.isOnDevice())
    core_.log().info(fmt::format(
        "Sonmere: saved output device for {} not present — bridge routing until it returns", app.bundleID));
}

bool TapLifecycle::startTap(const TappedAppInfo& app) {
  if (!checkPlatform(app.bundleID)) return false;
  if (core_.activeTaps.contains(app.bundleID)) return true;
  if (app.audioObjectIDs.empty()) return false;
  core_.log().info(fmt::format("Sonmere: Starting tap for {} (PID {}, {} audio process objects)",
                               app.bundleID, app.id, app.audioObjectIDs.size()));
  auto tap = std::make_shared<SingleAppTap>(app.id, app.audioObjectIDs, app.bundleID, core_.context.flags);
  tap->volume = app.volume;
  tap->isMuted = app.isMuted;
  tap->levelFollowsVolume = app.monitorLinked;
  tap->monitorVolume = app.monitorLinked ? app.volume : app.monitorVolume;
  tap->busIndex = isRoutableBus(app.busIndex) ? app.busIndex : kBridgeBus;
  tap->monitor.setEnabled(isMonitored && isMonitored(app.bundleID));
  adoptOutput(*tap, app);
  if (loadEffects) loadEffects(*tap);

  if (!createPlatformObjects(*tap, wantsMutedTap(*tap))) return false;
  core_.activeTaps[app.bundleID] = tap;
  publish();
  outputs_.reconcile(tap->busIndex);
  core_.log().info(
      fmt::format("Sonmere: Tap started for {} (PID {}) on bus {}", app.bundleID, app.id, tap->busIndex));
  if (tapsDidChange) tapsDidChange();
  return true;
}

void TapLifecycle::publish() {
  auto lists = std::make_shared<BusTapLists>();
  for (const auto& [bundleID, tap] : core_.activeTaps) {
    if (tap->isOnDevice()) continue;
    lists->buses[std::size_t(clampBus(tap->busIndex))].push_back(tap);
  }
  core_.render->activeTapsByBus.publish(std::move(lists), core_.retirement, kSnapshotGrace);
}

void TapLifecycle::stopTap(const std::string& bundleID) {
  const auto found = core_.activeTaps.find(bundleID);
  if (found == core_.activeTaps.end()) return;
  const auto tap = found->second;
  core_.activeTaps.erase(found);
  publish();
  core_.log().info(fmt::format("Sonmere: Stopping tap for PID {} (bus {})", tap->pid, tap->busIndex));
  destroyTapAggregate(core_.hardware(), tap->objects);
  outputs_.reconcile(clampBus(tap->busIndex));
  if (tapsDidChange) tapsDidChange();
}

bool TapLifecycle::moveToDevice(const std::string& bundleID, AudioDeviceID device) {
  const auto tap = core_.tapOf(bundleID);
  if (!tap) return false;
  tap->outputDeviceID = device;
  if (!rebuildTap(bundleID, wantsMutedTap(*tap))) return false;
  publish();
  outputs_.reconcile(clampBus(tap->busIndex));
  if (tapsDidChange) tapsDidChange();
  return true;
}

bool TapLifecycle::rebuildTap(const std::string& bundleID, bool muted) {
  const auto found = core_.activeTaps.find(bundleID);
  if (found == core_.activeTaps.end()) return false;
  const auto tap = found->second;
  destroyTapAggregate(core_.hardware(), tap->objects);
  tap->ring.requests.startLive = true;
  if (createPlatformObjects(*tap, muted)) return true;
  tap->outputDeviceID = kAudioObjectUnknown;
  stopTap(tap->bundleID);
  if (tapLost) tapLost(*tap);
  return false;
}

void TapLifecycle::healTap(const std::string& bundleID) {
  const auto found = core_.activeTaps.find(bundleID);
  if (found == core_.activeTaps.end()) return;
  core_.log().info(
      fmt::format("Sonmere: Healing tap PID {} (suspected zero-buffer drift)", found->second->pid));
  rebuildTap(bundleID, wantsMutedTap(*found->second));
}

bool TapLifecycle::applyMuteRule(const std::string& bundleID) {
  const auto found = core_.activeTaps.find(bundleID);
  if (found == core_.activeTaps.end()) return false;
  const bool muted = wantsMutedTap(*found->second);
  return muted == found->second->createdMuted || rebuildTap(bundleID, muted);
}

void TapLifecycle::recheckTaps() {
  std::vector<std::pair<std::string, bool>> lost;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (!core_.hardware().tapUID(tap->objects.tapObjectID)) lost.emplace_back(bundleID, wantsMutedTap(*tap));
  for (const auto& [bundleID, muted] : lost) rebuildTap(bundleID, muted);
}

void TapLifecycle::moveTap(const std::string& bundleID, int bus) {
  const auto found = core_.activeTaps.find(bundleID);
  if (found == core_.activeTaps.end() || found->second->busIndex == bus) return;
  const int before = clampBus(found->second->busIndex);
  found->second->busIndex = bus;
  matchRate(*found->second);
  publish();
  outputs_.reconcile(before);
  outputs_.reconcile(bus);
  // The two buses read at different moments.
  found->second->ring.requests.trim = true;
  if (tapsDidChange) tapsDidChange();
}

}  // namespace sonmere
