#include "cli/Text.h"

#include <fmt/format.h>

#include <charconv>

#include "audio/device/BusTable.h"

namespace sonmere {

std::string busName(int bus) {
  return bus == kBridgeBus ? "Bridge" : fmt::format("Track {}", bus - kFirstTrackBus + 1);
}

double shortest(float value) {
  char text[32];
  double number = value;
  const auto end = std::to_chars(text, text + sizeof text, value).ptr;
  std::from_chars(text, end, number);
  return number;
}

}  // namespace sonmere
