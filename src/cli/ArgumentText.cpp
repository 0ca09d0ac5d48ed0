#include "cli/ArgumentText.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>

#include "audio/device/BusTable.h"
#include "cli/Text.h"
#include "dsp/Boost.h"

namespace sonmere {

std::unexpected<Error> badArgument(std::string text) {
  return std::unexpected(Error{"Arguments", 2, std::move(text)});
}

std::optional<double> readNumber(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::vector<std::string> splitText(const std::string& text, char separator) {
  std::vector<std::string> parts;
  std::size_t from = 0;
  while (true) {
    const std::size_t at = text.find(separator, from);
    parts.push_back(text.substr(from, at == std::string::npos ? at : at - from));
    if (at == std::string::npos) return parts;
    from = at + 1;
  }
}

Outcome<ArgumentPair> splitPair(const char* option, const std::string& text, const char* form) {
  const auto at = text.find('=');
  if (at == std::string::npos || at == 0 || at + 1 == text.size())
    return badArgument(fmt::format("{} {}: expected {}", option, text, form));
  return ArgumentPair{text.substr(0, at), text.substr(at + 1)};
}

Outcome<std::optional<int>> readBus(const std::string& argument, const std::string& value) {
  constexpr const char* kChoices = "use 0 for the bridge, 2 to 9 for Track 1 to 8, or off";
  if (value == "off") return std::nullopt;
  const auto bus = readNumber(value);
  if (!bus || *bus != std::floor(*bus) || !isBus(int(std::clamp(*bus, -1.0, 100.0))))
    return badArgument(fmt::format("{}: \"{}\" is not a bus; {}", argument, value, kChoices));
  if (!isRoutableBus(int(*bus)))
    return badArgument(fmt::format("{}: bus 1 is the internal mic bus; {}", argument, kChoices));
  return int(*bus);
}

Outcome<ReadGain> readGain(const std::string& argument, const std::string& value) {
  const auto gain = readNumber(value);
  if (!gain || *gain < 0)
    return badArgument(
        fmt::format("{}: \"{}\" is not a gain; use a number from 0 to 4, where 1 is 100 %", argument, value));
  ReadGain read{clampAppVolume(float(*gain), true), std::nullopt};
  if (*gain > maxAppVolume(true))
    read.note = fmt::format("{}: held to {}, the largest volume", argument, read.gain);
  return read;
}

Outcome<std::string> readFolder(const char* option, const std::string& text) {
  if (text.empty()) return badArgument(fmt::format("{}: the folder's name is empty", option));
  std::error_code error;
  const std::filesystem::path full = std::filesystem::absolute(text, error);
  if (error)
    return badArgument(
        fmt::format("{} {}: the current folder can't be found: {}", option, text, error.message()));
  return full.lexically_normal().string();
}

}  // namespace sonmere
