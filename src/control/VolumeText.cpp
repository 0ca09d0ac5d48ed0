#include "control/VolumeText.h"

#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <cmath>

#include "base/NumberText.h"
#include "dsp/Boost.h"

namespace sonmere {

namespace {

using Kind = VolumeText::Kind;

std::unexpected<Error> badArgument(std::string text) {
  return std::unexpected(Error{kArgumentErrorDomain, 2, std::move(text)});
}

// What is beyond these is held all the same, and stays a number that a float can hold.
constexpr double kMostPercent = 1e6;
constexpr double kMostDecibels = 600;

bool isSign(char c) { return c == '+' || c == '-'; }

// A text taken apart: a sign on either side of a number and its unit.
struct Parts {
  enum class Unit { none, percent, decibels };
  char leading = 0;
  char trailing = 0;
  double number = 0;
  Unit unit = Unit::none;
};

// Takes the unit, and a blank before it, off the end.
Parts::Unit takeUnit(std::string_view& text) {
  auto unit = Parts::Unit::none;
  std::size_t size = 0;
  if (text.ends_with('%')) {
    unit = Parts::Unit::percent;
    size = 1;
  } else if (text.size() >= 2 && strncasecmp(text.data() + text.size() - 2, "db", 2) == 0) {
    unit = Parts::Unit::decibels;
    size = 2;
  }
  text.remove_suffix(size);
  if (size > 0 && text.ends_with(' ')) text.remove_suffix(1);
  return unit;
}

std::optional<Parts> partsOf(std::string_view text) {
  Parts parts;
  if (!text.empty() && isSign(text.front())) {
    parts.leading = text.front();
    text.remove_prefix(1);
  }
  if (!text.empty() && isSign(text.back())) {
    parts.trailing = text.back();
    text.remove_suffix(1);
  }
  parts.unit = takeUnit(text);
  const bool isSigned = text.empty() || isSign(text.front());
  const auto number = isSigned ? std::nullopt : readNumber(text);
  if (!number || (parts.leading && parts.trailing)) return std::nullopt;
  parts.number = *number;
  return parts;
}

VolumeText inPercent(const Parts& parts) {
  const double gain = std::min(parts.number, kMostPercent) / 100;
  if (!parts.leading && !parts.trailing) return {Kind::level, gain};
  return {Kind::step, parts.leading == '-' || parts.trailing == '-' ? -gain : gain};
}

VolumeText inDecibels(const Parts& parts) {
  const double size = std::min(parts.number, kMostDecibels);
  if (parts.trailing) return {Kind::decibelStep, parts.trailing == '-' ? -size : size};
  return {Kind::level, std::pow(10, (parts.leading == '-' ? -size : size) / 20)};
}

// "30" is 30 % for most people, and 30 times as loud for nobody.
Outcome<VolumeText> asGain(const std::string& argument, const std::string& text, const Parts& parts) {
  const auto refuse = [&](const std::string& why) {
    return badArgument(fmt::format("{}: \"{}\" {}", argument, text, why));
  };
  if (parts.leading || parts.trailing)
    return refuse(
        fmt::format("has no unit; a step is +{0}% or {0}%-, a level in decibels -{0}dB", parts.number));
  if (parts.number <= maxAppVolume(true)) return VolumeText{Kind::level, parts.number};
  if (parts.number / 100 > maxAppVolume(true)) return refuse("is beyond the largest volume, 4 or 400%");
  return refuse(
      fmt::format("is beyond the largest gain, 4; write {0}% or {1:.6g}", parts.number, parts.number / 100));
}

}  // namespace

Outcome<VolumeText> readVolume(const std::string& argument, const std::string& text) {
  if (text.empty()) return badArgument(fmt::format("{}: the volume is empty; use {}", argument, kVolumeForm));
  const auto parts = partsOf(text);
  if (!parts)
    return badArgument(fmt::format("{}: \"{}\" is not a volume; use {}", argument, text, kVolumeForm));
  if (parts->unit == Parts::Unit::none) return asGain(argument, text, *parts);
  return parts->unit == Parts::Unit::percent ? inPercent(*parts) : inDecibels(*parts);
}

Outcome<VolumeLevel> readVolumeLevel(const std::string& argument, const std::string& text) {
  const auto volume = readVolume(argument, text);
  if (!volume) return std::unexpected(volume.error());
  if (volume->kind != Kind::level)
    return badArgument(fmt::format("{}: \"{}\" is a step, and there is nothing yet to step from; use {}",
                                   argument, text, kLevelForm));
  VolumeLevel level{clampAppVolume(float(volume->value), true), std::nullopt};
  if (volume->value > maxAppVolume(true))
    level.note = fmt::format("{}: held to {:.0f} %, the largest volume", argument, level.gain * 100);
  return level;
}

}  // namespace sonmere
