#include "control/DAWControl.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/device/CoreAudioUtils.h"
#include "base/PrintableText.h"
#include "control/AppMatch.h"
#include "control/ControlError.h"

namespace sonmere {

namespace {

constexpr std::size_t kLongestName = 200;  // bytes

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(controlError(ControlFault::badValue, std::move(text)));
}

}  // namespace

DAWState DAWControl::state() const {
  DAWState state;
  state.isEnabled = *daw().isEnabled;
  state.device = kDAWDeviceUID;
  state.error = *daw().errorMessage;
  // It may have been made just now, and the directory have heard of it not yet.
  AudioHardware& hardware = app_.context().hardware();
  if (const auto device = *daw().aggregateDeviceID) {
    state.isPresent = true;
    state.name = CoreAudioUtils::deviceName(hardware, *device).value_or("");
    state.inputs = CoreAudioUtils::inputChannelCount(hardware, *device);
    state.outputs = CoreAudioUtils::outputChannelCount(hardware, *device);
  }
  if (!combined().wish->devices.empty()) state.combined = describeCombined();
  return state;
}

DAWState::Combined DAWControl::describeCombined() const {
  DeviceDirectory& devices = app_.context().devices;
  DAWState::Combined state{std::string(kCombinedInputUID),
                           combined().wish->name,
                           combined().device->has_value(),
                           {},
                           *combined().errorMessage};
  int first = 1;
  for (const std::string& uid : combined().wish->devices) {
    const DeviceFacts* member = devices.withUID(uid);
    const int channels = member ? member->inputChannels : 0;
    state.members.push_back({uid, member ? member->name : uid, channels, first});
    first += channels;
  }
  return state;
}

// The wish is kept.
Outcome<DAWChange> DAWControl::change(const std::optional<std::string>& error) const {
  if (error) return std::unexpected(controlError(ControlFault::failed, *error));
  return DAWChange{state(), {}};
}

Outcome<DAWChange> DAWControl::setEnabled(bool enabled) {
  daw().setEnabled(enabled);
  return change(*daw().errorMessage);
}

Outcome<DAWChange> DAWControl::reset() {
  daw().manualReset();
  return change(*daw().errorMessage);
}

Outcome<std::vector<std::string>> DAWControl::findInputs(const std::vector<std::string>& devices) const {
  std::vector<AppName> names;
  for (const DeviceFacts& each : *app_.context().devices.devices())
    if (each.inputChannels > 0 && each.uid != kCombinedInputUID && each.uid != kDAWDeviceUID)
      names.push_back({each.uid, each.name});
  std::vector<std::string> found;
  for (const std::string& text : devices) {
    const auto uid = matchName(text, names, {"input device", "input devices"});
    if (!uid) return std::unexpected(uid.error());
    if (std::ranges::find(found, *uid) != found.end())
      return refuse(fmt::format("{} is named twice; a device can be combined with others only", text));
    found.push_back(*uid);
  }
  return found;
}

Outcome<DAWChange> DAWControl::combine(const std::vector<std::string>& devices,
                                       const std::optional<std::string>& name) {
  if (devices.size() < 2) return refuse("Pick at least two devices.");
  const auto members = findInputs(devices);
  if (!members) return std::unexpected(members.error());
  const std::string wanted = name.value_or(CombinedInputEngine::kDefaultName);
  if (wanted.empty() || wanted.size() > kLongestName || printable(wanted) != wanted)
    return refuse(fmt::format("\"{}\" is no name for a device: 1 to {} bytes that can be shown",
                              printable(wanted), kLongestName));
  for (const DeviceFacts& each : *app_.context().devices.devices())
    if (each.name == wanted && each.uid != kCombinedInputUID)
      return refuse(fmt::format("\"{}\" is the name of another device; give one of its own", wanted));
  combined().create({*members, wanted});
  return change(*combined().errorMessage);
}

Outcome<DAWChange> DAWControl::separate() {
  combined().remove();
  return change(*combined().errorMessage);
}

}  // namespace sonmere
