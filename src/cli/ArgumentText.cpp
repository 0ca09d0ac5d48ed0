#include "cli/ArgumentText.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>

#include "cli/Text.h"
#include "control/VolumeText.h"

namespace sonmere {

std::unexpected<Error> badArgument(std::string text) {
  return std::unexpected(Error{kArgumentErrorDomain, 2, std::move(text)});
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

Outcome<bool> readSwitch(const std::string& argument, const std::string& text, const char* choices) {
  if (text == "on" || text == "off") return text == "on";
  return badArgument(fmt::format("{}: \"{}\" is no such state; use {}", argument, text, choices));
}

Outcome<double> readCeiling(const std::string& argument, const std::string& text) {
  std::string_view number = text;
  if (text.size() > 2 && strcasecmp(text.c_str() + text.size() - 2, "db") == 0) number.remove_suffix(2);
  if (const auto ceiling = readNumber(number)) return *ceiling;
  return badArgument(fmt::format("{}: \"{}\" is not a ceiling; use -12 to 0 dB", argument, text));
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
