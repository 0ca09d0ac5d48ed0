#include "system/OutputRanking.h"

#include <algorithm>

namespace sonmere {

namespace {

int rankOf(const OutputCandidate& candidate) {
  switch (candidate.transport.value_or(0)) {
    case TransportType::builtIn:
      return 0;
    case TransportType::usb:
    case TransportType::thunderbolt:
      return 1;
    case TransportType::bluetooth:
    case TransportType::bluetoothLE:
      return 2;
    case TransportType::hdmi:
    case TransportType::displayPort:
      return 4;
    case TransportType::aggregate:
    case TransportType::virtualDevice:
      return 5;
    default:
      return 3;
  }
}

bool isOneOf(const OutputCandidate& candidate, std::initializer_list<std::uint32_t> kinds) {
  return std::ranges::find(kinds, candidate.transport.value_or(0)) != kinds.end();
}

bool isBuiltIn(const OutputCandidate& candidate) { return isOneOf(candidate, {TransportType::builtIn}); }

// Of several the one that is no loudspeaker, else the oldest device.
const OutputCandidate* bestBuiltIn(const std::vector<const OutputCandidate*>& builtIn) {
  if (builtIn.empty()) return nullptr;
  const auto named =
      std::ranges::find_if(builtIn, [](const auto* each) { return !each->name.contains("Speakers"); });
  if (builtIn.size() > 1 && named != builtIn.end()) return *named;
  return *std::ranges::min_element(builtIn, {}, [](const auto* each) { return each->id; });
}

}  // namespace

std::vector<OutputCandidate> outputCandidates(DeviceDirectory& devices) {
  std::vector<OutputCandidate> found;
  for (const DeviceFacts& each : *devices.devices())
    if (each.outputChannels > 0 && !each.isOwn)
      found.push_back(
          {each.id, each.name, each.uid, each.transport == 0 ? std::nullopt : std::optional(each.transport)});
  return found;
}

bool isPluggedKind(const OutputCandidate& candidate) {
  return isOneOf(candidate, {TransportType::builtIn, TransportType::usb, TransportType::bluetooth,
                             TransportType::bluetoothLE, TransportType::airPlay, TransportType::thunderbolt});
}

const OutputCandidate* preferredOutput(const std::vector<OutputCandidate>& candidates) {
  const auto best = std::ranges::min_element(candidates, {}, rankOf);
  return best == candidates.end() ? nullptr : &*best;
}

const OutputCandidate* bestPhysicalOutput(const std::vector<OutputCandidate>& candidates) {
  std::vector<const OutputCandidate*> plugged, builtIn;
  for (const OutputCandidate& each : candidates) {
    if (isPluggedKind(each)) plugged.push_back(&each);
    if (isBuiltIn(each)) builtIn.push_back(&each);
  }
  for (const auto& kinds : {std::pair{TransportType::bluetooth, TransportType::bluetoothLE},
                            std::pair{TransportType::thunderbolt, TransportType::usb}})
    for (const OutputCandidate* each : plugged)
      if (isOneOf(*each, {kinds.first, kinds.second})) return each;
  if (const OutputCandidate* best = bestBuiltIn(builtIn)) return best;
  return plugged.empty() ? nullptr : plugged.front();
}

}  // namespace sonmere
