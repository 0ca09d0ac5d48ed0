#include "routing/DeviceOutputs.h"

#include <fmt/format.h>

namespace sonmere {

namespace {

constexpr Duration kStatsInterval = fromSeconds(5);

std::string reasonOf(const OutputFailure& failure) {
  const auto failed = [&](const char* what) {
    return fmt::format("it refused {}: {}", what, failure.status);
  };
  switch (failure.step) {
    case OutputStep::findDevice:
    case OutputStep::readRate:
      return "it is not there";
    case OutputStep::findComponent:
      return "there is no output component";
    case OutputStep::createUnit:
      return fmt::format("no output unit could be made: {}", failure.status);
    case OutputStep::setDevice:
      return failed("to be played on");
    case OutputStep::setFormat:
      return failed("the format");
    case OutputStep::setCallback:
      return failed("the callback");
    case OutputStep::initialize:
    case OutputStep::start:
      return failed("to start");
  }
  return "";
}

}  // namespace

const AppOutputRenderer* DeviceOutputs::rendererOf(const std::string& bundleID) const {
  const auto found = renderers_.find(bundleID);
  return found == renderers_.end() ? nullptr : found->second.get();
}

std::vector<std::string> DeviceOutputs::appsWithWishes() const {
  std::vector<std::string> apps;
  for (const auto& [bundleID, tap] : core_.activeTaps)
    if (!tap->wish.deviceUID.empty()) apps.push_back(bundleID);
  return apps;
}

std::vector<std::string> DeviceOutputs::unmetWishes() const {
  std::vector<std::string> texts;
  for (const std::string& bundleID : appsWithWishes()) {
    const auto& tap = *core_.tapOf(bundleID);
    if (tap.isOnDevice()) continue;
    const auto name = names_.find(tap.wish.deviceUID);
    texts.push_back(
        fmt::format("{} [INTENT ONLY — device {} {}; falls back to normal output, re-adopts on return]",
                    bundleID, name == names_.end() ? tap.wish.deviceUID : name->second,
                    tap.refusedDeviceID == kAudioObjectUnknown ? "NOT connected" : "refused it"));
  }
  return texts;
}

// A choice made again is tried again, whatever came of it before.
bool DeviceOutputs::choose(const std::string& bundleID, const OutputWish& wish) {
  const auto tap = core_.tapOf(bundleID);
  if (!tap) return true;
  const bool isOtherPair = tap->isOnDevice() && wish.deviceUID == tap->wish.deviceUID;
  const AudioDeviceID device = presentDevice(core_.hardware(), wish);
  if (wish == tap->wish && device == tap->outputDeviceID && rendererOf(bundleID)) return true;
  core_.failures.end(RoutingFailures::ofApp(bundleID));
  tap->wish = wish;
  tap->refusedDeviceID = kAudioObjectUnknown;
  if (device == kAudioObjectUnknown && !tap->isOnDevice()) return true;
  renderers_.erase(bundleID);
  if (!taps_.moveToDevice(bundleID, device)) return false;
  if (device == kAudioObjectUnknown)
    core_.log().info(fmt::format("Sonmere: {} back to bridge routing", bundleID));
  const bool isDone = tap->outputDeviceID == device;
  if (!isDone && isOtherPair)
    core_.log().error(
        fmt::format("Sonmere: pair change re-host failed for {} — falling back to normal output", bundleID));
  return isDone;
}

void DeviceOutputs::update() {
  std::erase_if(renderers_, [this](const auto& each) {
    const auto tap = core_.tapOf(each.first);
    return tap.get() != &each.second->tap() || !tap->isOnDevice();
  });
  for (const std::string& bundleID : appsWithWishes()) play(bundleID);
  reconcileStats();
}

// True unless the app was to play on a device now and can't.
bool DeviceOutputs::play(const std::string& bundleID) {
  const auto tap = core_.tapOf(bundleID);
  if (!tap || !tap->isOnDevice() || renderers_.contains(bundleID)) return true;
  auto renderer = std::make_unique<AppOutputRenderer>(core_, tap);
  names_[tap->wish.deviceUID] = renderer->deviceName();
  const auto started = renderer->start();
  if (started) {
    renderers_[bundleID] = std::move(renderer);
    return true;
  }
  tap->refusedDeviceID = tap->outputDeviceID;
  // Said last: a capture that is made anew ends what was told of its app.
  if (taps_.moveToDevice(bundleID, kAudioObjectUnknown))
    core_.fail(RoutingFailures::ofApp(bundleID),
               fmt::format("Couldn't route to {}: {}", renderer->deviceName(), reasonOf(started.error())));
  return false;
}

void DeviceOutputs::reconcileDevices() {
  for (const std::string& bundleID : appsWithWishes()) follow(bundleID);
}

void DeviceOutputs::leave(const std::string& bundleID) {
  renderers_.erase(bundleID);
  taps_.moveToDevice(bundleID, kAudioObjectUnknown);
}

void DeviceOutputs::follow(const std::string& bundleID) {
  const auto tap = core_.tapOf(bundleID);
  if (!tap) return;
  const AudioDeviceID present = presentDevice(core_.hardware(), tap->wish);
  if (present == tap->outputDeviceID || (present != kAudioObjectUnknown && present == tap->refusedDeviceID))
    return;
  // After a restart of the server the tap is made anew first, and finds its device then.
  if (!core_.hardware().tapUID(tap->objects.tapObjectID)) return;
  const std::string uid = tap->wish.deviceUID;
  const auto known = names_.find(uid);
  const std::string name = known == names_.end() ? uid : known->second;
  tap->refusedDeviceID = kAudioObjectUnknown;
  if (tap->isOnDevice()) {
    core_.log().warning(
        fmt::format("Sonmere: output device '{}' gone ({}) — {} falls back to its normal output; "
                    "route re-arms when it returns",
                    name, uid, bundleID));
    leave(bundleID);
  }
  if (present == kAudioObjectUnknown) return;
  core_.log().info(fmt::format("Sonmere: output device '{}' present again ({}) — re-routing {}",
                               CoreAudioUtils::deviceName(core_.hardware(), present).value_or(name), uid,
                               bundleID));
  taps_.moveToDevice(bundleID, present);
}

void DeviceOutputs::restart() {
  for (const std::string& bundleID : appsWithWishes()) {
    if (renderers_.erase(bundleID) == 0) continue;
    if (!play(bundleID))
      core_.log().error(
          fmt::format("Sonmere: renderer re-host failed for {} — falling back to normal output", bundleID));
  }
}

void DeviceOutputs::forget() {
  renderers_.clear();
  reconcileStats();
  for (const auto& [bundleID, tap] : core_.activeTaps)
    tap->outputDeviceID = tap->refusedDeviceID = kAudioObjectUnknown;
  taps_.publish();
}

void DeviceOutputs::reconcileStats() {
  if (renderers_.empty()) return rendererStatsTimer_.cancel();
  if (rendererStatsTimer_) return;
  rendererStatsTimer_ = core_.runtime().mainQueue().repeat(kStatsInterval, [this] {
    for (const auto& [bundleID, renderer] : renderers_) core_.log().info(renderer->stats());
  });
}

}  // namespace sonmere
