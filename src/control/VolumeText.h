#pragma once

#include <optional>
#include <string>

#include "base/Error.h"

namespace sonmere {

// Of the errors that tell of words that nobody can read.
inline constexpr const char* kArgumentErrorDomain = "Arguments";

// How a volume is written, in every command and in the window alike. A level is a gain ("0.5", 0 to 4), a
// percentage ("50%"), or decibels from 100 % ("-6dB", "+3dB"). A step from the present level has its sign
// before a percentage
// ("+5%", "-5%") or behind it or decibels ("5%+", "3dB-"). A blank may stand before the unit, whose letters
// have any case.
struct VolumeText {
  enum class Kind { level, step, decibelStep };
  Kind kind = Kind::level;
  double value = 1;  // linear, 1 is 100 %; of a step what is added; in dB of a decibel step
  bool operator==(const VolumeText&) const = default;
};

// For help and errors.
inline constexpr const char* kVolumeForm = "50%, 0.5 or -6dB; or a step: +5%, -5%, 3dB+, 3dB-";
inline constexpr const char* kLevelForm = "50%, 0.5 or -6dB";

// `argument` is how errors name it. A percentage or decibels beyond the largest volume are left to whoever
// holds them to it; a gain beyond 4 is refused, for it is a percentage that lacks its sign.
Outcome<VolumeText> readVolume(const std::string& argument, const std::string& text);

// The level of an app where there is nothing yet to step from, held to the largest; `note` says when.
struct VolumeLevel {
  float gain = 1;
  std::optional<std::string> note;
};
Outcome<VolumeLevel> readVolumeLevel(const std::string& argument, const std::string& text);

}  // namespace sonmere
