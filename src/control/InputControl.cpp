#include "control/InputControl.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "audio/device/BusName.h"
#include "base/PrintableText.h"
#include "control/AppMatch.h"
#include "control/ControlError.h"
#include "control/EffectLimits.h"
#include "control/MicChannelsText.h"
#include "dsp/Level.h"

namespace sonmere {

namespace {

constexpr std::size_t kLongestName = 200;  // bytes

std::unexpected<Error> refuse(std::string text) {
  return std::unexpected(controlError(ControlFault::badValue, std::move(text)));
}

std::vector<AppName> namesOf(const std::vector<MicDevice>& devices) {
  std::vector<AppName> names;
  for (const MicDevice& device : devices) names.push_back({device.uid, device.name});
  return names;
}

Outcome<std::string> inputNamed(const std::string& text, const std::vector<MicDevice>& devices) {
  return matchName(text, namesOf(devices), {"input device", "input devices"});
}

ExtraInputState describe(const MicExtraSource& source, const AppEQSettings& equaliser) {
  return {source.id, source.label, source.channel + 1, source.gain, source.isMuted, source.pan, equaliser};
}

}  // namespace

InputState InputControl::state() const {
  InputState state;
  state.isEnabled = mic().isWanted();
  state.isRunning = mic().isRunning();
  state.isOnFallback = mic().devices().isOnTemporaryFallback();
  if (const auto& device = *mic().newlyAvailableInput) state.newDevice = device->name;
  const auto used = mic().devices().selected();
  for (const MicDevice& device : *mic().devices().availableMics)
    state.devices.push_back({device.uid, device.name, mic().devices().channelCount(device),
                             used && used->uid == device.uid, device.uid == mic().devices().savedUID()});
  state.channels = micChannelsText(*mic().inputChannelMode, *mic().customChannels);
  state.volume = *mic().micVolume;
  state.equaliser = *mic().eqSettings;
  state.limiter = *mic().limiterSettings;
  for (int bus = 0; bus < kBusCount; ++bus)
    if (const float gain = app_.context().micSend.gains[std::size_t(bus)]; gain > 0) state.sends[bus] = gain;
  for (const MicExtraSource& source : *mic().extras().extraSources)
    state.extras.push_back(describe(source, mic().extras().equaliserOf(source.id)));
  if (const auto route = mic().route()) {
    state.captureRate = route->captureRate;
    state.bridgeRate = route->bridgeRate;
  }
  for (const RingReport& ring : mic().latencyRings()) state.addedDelayMs = ring.backlogMs;
  state.driftPpm = mic().isRunning() ? mic().renderState().counters.driftPpm.load() : 0.0;
  state.lock = {*lock().isEnabled,           lock().pinnedUID->value_or(""), lock().pinnedName->value_or(""),
                *lock().pinnedDevicePresent, lock().isBackingOff(),          *lock().sessionRestoreCount};
  state.error = *mic().errorMessage;
  return state;
}

std::optional<InputMeters> InputControl::meters() const {
  if (!mic().isRunning()) return std::nullopt;
  const MicRenderState& render = mic().renderState();
  InputMeters meters{meterLevelDb(render.preLevel),
                     meterLevelDb(render.postLevel),
                     mic().limiterSettings->isEnabled ? gainReductionDb(render.limiterGain) : 0,
                     {},
                     {}};
  for (int channel = 0; channel < std::min(mic().channelCount(), kMicMeteredChannels); ++channel)
    meters.channelPeaks.push_back(render.channelLevels[std::size_t(channel)]);
  for (const MicExtraSource& source : *mic().extras().extraSources)
    meters.extraPeaks[source.id] = mic().extras().level(source.id);
  return meters;
}

Outcome<InputChange> InputControl::setEnabled(bool enabled) {
  mic().setEnabled(enabled);
  if (enabled && !*mic().isEnabled)
    return std::unexpected(controlError(
        ControlFault::failed, mic().errorMessage->value_or("the microphone could not be turned on")));
  return change();
}

Outcome<InputChange> InputControl::select(const std::string& device) {
  const auto uid = inputNamed(device, *mic().devices().availableMics);
  if (!uid) return std::unexpected(uid.error());
  mic().select(*uid);
  return change();
}

Outcome<InputChange> InputControl::setVolume(VolumeRequest request) {
  if (!std::isfinite(request.value)) return refuse("the volume is not a number");
  std::vector<std::string> notes;
  mic().setVolume(heldVolume(request.from(*mic().micVolume), MicPassthroughEngine::kMaxVolume, notes));
  return change(std::move(notes));
}

Outcome<InputChange> InputControl::setChannels(const std::string& channels) {
  const auto read = micChannelsFromText(channels);
  if (!read)
    return refuse(fmt::format("\"{}\" is none of auto, 1, 2, stereo and two channels as 3,4", channels));
  const auto& [mode, pair] = *read;
  std::vector<std::string> notes;
  if (mode == InputChannelMode::custom) {
    mic().setCustomChannels(pair);
    const auto device = mic().devices().selected();
    const int most = device ? mic().devices().channelCount(*device) : kMostMicChannels;
    if (std::max(pair.left, pair.right) >= most)
      notes.push_back(fmt::format("{} has {} channels; what is beyond takes the last", device->name, most));
  }
  mic().setChannelMode(mode);
  return change(std::move(notes));
}

Outcome<InputChange> InputControl::setEqualiser(AppEQSettings settings) {
  std::vector<std::string> notes;
  mic().setEqualiser(heldToRange(settings, notes));
  return change(std::move(notes));
}

Outcome<InputChange> InputControl::setLimiter(std::optional<double> ceilingDb) {
  std::vector<std::string> notes;
  AppLimiterSettings settings = *mic().limiterSettings;
  settings.isEnabled = ceilingDb.has_value();
  if (ceilingDb) settings.ceilingDb = heldCeiling(*ceilingDb, notes);
  mic().setLimiter(settings);
  return change(std::move(notes));
}

Outcome<InputChange> InputControl::setSend(int bus, std::optional<float> volume) {
  if (!isRoutableBus(bus) || bus == kBridgeBus)
    return refuse(fmt::format(
        "the microphone is sent to Tracks, buses 2 to 9, not to bus {}; the bridge has it by itself", bus));
  if (volume && !std::isfinite(*volume)) return refuse("the volume is not a number");
  std::vector<std::string> notes;
  app_.appTapEngine()->setMicSend(
      bus, volume ? heldVolume(*volume, MicPassthroughEngine::kMaxVolume, notes) : 0.0f);
  return change(std::move(notes));
}

// Additional inputs.

Outcome<std::string> InputControl::extraNamed(const std::string& input) const {
  std::vector<AppName> names;
  for (const MicExtraSource& source : *mic().extras().extraSources)
    names.push_back({source.id, source.label});
  return matchName(input, names, {"additional input", "additional inputs"});
}

Outcome<void> InputControl::check(const ExtraEdit& edit) const {
  if (edit.channel && (*edit.channel < 1 || *edit.channel > kMostMicChannels))
    return refuse(fmt::format("there is no channel {}; they count from 1", *edit.channel));
  if (edit.name &&
      (edit.name->empty() || edit.name->size() > kLongestName || printable(*edit.name) != *edit.name))
    return refuse(fmt::format("a name has 1 to {} bytes, and no control characters", kLongestName));
  if ((edit.volume && !std::isfinite(*edit.volume)) || (edit.pan && !std::isfinite(*edit.pan)))
    return refuse("this is not a number");
  return {};
}

void InputControl::apply(const std::string& id, const ExtraEdit& edit, std::vector<std::string>& notes) {
  MicExtras& extras = mic().extras();
  MicExtraSource source = *std::ranges::find(*extras.extraSources, id, &MicExtraSource::id);
  source.label = edit.name.value_or(source.label);
  source.channel = edit.channel ? *edit.channel - 1 : source.channel;
  if (edit.volume) source.gain = heldVolume(*edit.volume, MicExtraSource::kMaxGain, notes);
  if (edit.pan) source.pan = float(heldTo("pan", *edit.pan, -1, 1, "", notes));
  source.isMuted = edit.isMuted.value_or(source.isMuted);
  if (edit.equaliser) extras.setEqualiser(id, heldToRange(*edit.equaliser, notes));
  extras.change(source);
}

Outcome<InputChange> InputControl::addExtra(const ExtraEdit& edit) {
  if (const auto checked = check(edit); !checked) return std::unexpected(checked.error());
  const auto device = mic().devices().selected();
  if (!device)
    return std::unexpected(controlError(ControlFault::notFound, "there is no microphone to add an input of"));
  const int channel = edit.channel.value_or(1), most = mic().devices().channelCount(*device);
  if (channel > most)
    return refuse(fmt::format("{} has {} channels, so there is no channel {}", device->name, most, channel));
  std::vector<std::string> notes;
  if (most < 2) notes.push_back("an input of a device with one channel is not mixed in");
  apply(mic().extras().add(edit.name.value_or(fmt::format("Input {}", channel)), channel - 1), edit, notes);
  return change(std::move(notes));
}

Outcome<InputChange> InputControl::changeExtra(const std::string& input, const ExtraEdit& edit) {
  const auto id = extraNamed(input);
  if (!id) return std::unexpected(id.error());
  if (const auto checked = check(edit); !checked) return std::unexpected(checked.error());
  std::vector<std::string> notes;
  apply(*id, edit, notes);
  return change(std::move(notes));
}

Outcome<InputChange> InputControl::removeExtra(const std::string& input) {
  const auto id = extraNamed(input);
  if (!id) return std::unexpected(id.error());
  mic().extras().remove(*id);
  return change();
}

// The lock.

Outcome<InputChange> InputControl::setLock(bool enabled) {
  if (enabled && lock().pinnedUID->value_or("").empty())
    return refuse("no device was chosen that the default input is to be locked to");
  lock().setEnabled(enabled);
  return change();
}

Outcome<InputChange> InputControl::lockTo(const std::string& device) {
  const auto uid = inputNamed(device, *lock().availableInputs);
  if (!uid) return std::unexpected(uid.error());
  lock().select(*std::ranges::find(*lock().availableInputs, *uid, &MicDevice::uid));
  lock().setEnabled(true);
  return change();
}

}  // namespace sonmere
