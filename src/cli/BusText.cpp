#include "cli/BusText.h"

#include <fmt/format.h>

#include "audio/device/BusTable.h"
#include "cli/ArgumentText.h"

namespace sonmere {

namespace {

constexpr const char* kChoices = "bridge, track1 to track8, or a name that you gave a Track";

std::unexpected<Error> ambiguity(const std::string& argument, const std::string& text,
                                 const TrackNames& found) {
  std::string list;
  for (const auto& [bus, name] : found) list += (list.empty() ? "" : " and ") + busLabel(bus);
  return badArgument(fmt::format("{}: \"{}\" is the name of {}; use the number", argument, text, list));
}

Outcome<int> readRoutable(const std::string& argument, const std::string& text, const TrackNamesSource& names,
                          const char* otherwise) {
  if (const auto bus = busFromText(text)) {
    if (isRoutableBus(*bus)) return *bus;
    return badArgument(
        fmt::format("{}: bus 1 is the internal mic bus; use {}{}", argument, kChoices, otherwise));
  }
  const TrackNames found = text.empty() ? TrackNames{} : tracksNamed(text, names());
  if (found.size() > 1) return ambiguity(argument, text, found);
  if (!found.empty()) return found.begin()->first;
  return badArgument(fmt::format("{}: \"{}\" is not a bus; use {}{}", argument, text, kChoices, otherwise));
}

}  // namespace

Outcome<int> readBus(const std::string& argument, const std::string& text, const TrackNamesSource& names) {
  return readRoutable(argument, text, names, "");
}

Outcome<std::optional<int>> readBusOrOff(const std::string& argument, const std::string& text,
                                         const TrackNamesSource& names) {
  if (text == "off") return std::nullopt;
  return readRoutable(argument, text, names, ", or off");
}

}  // namespace sonmere
