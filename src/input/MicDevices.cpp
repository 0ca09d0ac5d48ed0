#include "input/MicDevices.h"

#include <algorithm>

#include "audio/device/CoreAudioUtils.h"

namespace sonmere {

namespace {

MicDevice::Transport transportOf(std::optional<std::uint32_t> type) {
  using enum MicDevice::Transport;
  if (!type) return unknown;
  switch (*type) {
    case TransportType::builtIn:
      return builtIn;
    case TransportType::aggregate:
      return aggregate;
    case TransportType::virtualDevice:
      return virtualDevice;
    default:
      return hardware;
  }
}

// Which kind serves best as a fallback: a device that a user connected is meant to be used.
int rank(MicDevice::Transport transport) {
  using enum MicDevice::Transport;
  constexpr std::array order = {hardware, builtIn, aggregate, unknown, virtualDevice};
  return int(std::ranges::find(order, transport) - order.begin());
}

}  // namespace

MicDevices::MicDevices(EngineContext& context)
    : context_(context), savedUID_(context.settings.string(kSelectedUIDKey).value_or("")) {}

std::vector<MicDevice> MicDevices::list(AudioHardware& hardware) {
  std::vector<MicDevice> found;
  for (const auto& device : CoreAudioUtils::allInputDevices(hardware))
    if (!CoreAudioUtils::isOwnDeviceUID(device.uid) || device.uid == kCombinedInputUID)
      found.push_back({device.id, device.name, device.uid,
                       transportOf(CoreAudioUtils::transportType(hardware, device.id))});
  return found;
}

std::optional<MicDevice> MicDevices::find(std::string_view uid) const {
  const auto found = std::ranges::find(*availableMics, uid, &MicDevice::uid);
  if (found == availableMics->end()) return std::nullopt;
  return *found;
}

std::optional<MicDevice> MicDevices::selected() const { return find(usedUID_); }

int MicDevices::channelCount(const MicDevice& device) const {
  return CoreAudioUtils::inputChannelCount(context_.hardware(), device.id);
}

std::optional<MicDevice> MicDevices::fallback() const {
  AudioHardware& hardware = context_.hardware();
  if (const auto standard = CoreAudioUtils::defaultInput(hardware)) {
    const auto found = std::ranges::find(*availableMics, *standard, &MicDevice::id);
    if (found != availableMics->end()) return *found;
  }
  const auto best = std::ranges::min_element(*availableMics, {},
                                             [](const MicDevice& device) { return rank(device.transport); });
  if (best == availableMics->end()) return std::nullopt;
  return *best;
}

std::optional<MicDevice> MicDevices::choose() const {
  if (auto saved = find(savedUID_)) return saved;
  if (auto used = find(usedUID_)) return used;
  return fallback();
}

bool MicDevices::refresh() {
  availableMics.set(list(context_.hardware()));
  const auto chosen = choose();
  const std::string uid = chosen ? chosen->uid : "";
  const auto id = chosen ? std::optional(chosen->id) : std::nullopt;
  isOnTemporaryFallback_ = chosen && !savedUID_.empty() && uid != savedUID_;
  const bool isChanged = uid != usedUID_ || id != *selectedMicID;
  usedUID_ = uid;
  if (isChanged) selectedMicID.set(id);
  return isChanged;
}

bool MicDevices::select(const std::string& uid) {
  if (!find(uid)) return false;
  savedUID_ = uid;
  context_.settings.set(kSelectedUIDKey, uid);
  refresh();
  return true;
}

}  // namespace sonmere
