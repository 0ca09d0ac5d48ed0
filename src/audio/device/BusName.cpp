#include "audio/device/BusName.h"

#include <fmt/format.h>
#include <strings.h>

#include "audio/device/BusTable.h"

namespace sonmere {

namespace {

bool isSameText(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

// 0 to 9; nothing for another text.
std::optional<int> digitOf(std::string_view text) {
  if (text.size() != 1 || text[0] < '0' || text[0] > '9') return std::nullopt;
  return text[0] - '0';
}

}  // namespace

std::string busName(int bus) {
  if (bus == kBridgeBus) return "Bridge";
  return bus == kMicBus ? "Mic bus" : fmt::format("Track {}", bus - kFirstTrackBus + 1);
}

std::string busLabel(int bus) { return fmt::format("{} (bus {})", busName(bus), bus); }

std::string busWord(int bus) {
  return bus == kBridgeBus ? "bridge" : fmt::format("track{}", bus - kFirstTrackBus + 1);
}

std::optional<int> busFromText(std::string_view text) {
  if (const auto number = digitOf(text)) return number;
  const std::string word(text);
  if (isSameText(word, "bridge")) return kBridgeBus;
  for (int bus = kFirstTrackBus; bus < kBusCount; ++bus)
    if (isSameText(word, busWord(bus)) || isSameText(word, busName(bus))) return bus;
  return std::nullopt;
}

TrackNames tracksNamed(std::string_view text, const TrackNames& names) {
  TrackNames found;
  for (const auto& [bus, name] : names)
    if (isSameText(std::string(text), name)) found.emplace(bus, name);
  return found;
}

}  // namespace sonmere
