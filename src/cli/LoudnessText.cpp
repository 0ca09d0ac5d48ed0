#include "cli/LoudnessText.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace sonmere {

namespace {

std::string level(double value, const char* unit) {
  return std::isfinite(value) ? fmt::format("{:.1f} {}", value, unit) : "silent";
}

// Gates need some tenths of a second of what can be heard.
std::string integrated(const Loudness& loudness) {
  const bool isUnknown = !std::isfinite(loudness.integratedLUFS) && std::isfinite(loudness.samplePeakDb);
  return isUnknown ? "too short or too quiet for LUFS" : level(loudness.integratedLUFS, "LUFS");
}

// To a hundredth: measuring knows no more.
nlohmann::ordered_json number(double value) {
  return std::isfinite(value) ? nlohmann::ordered_json(std::round(value * 100) / 100)
                              : nlohmann::ordered_json(nullptr);
}

}  // namespace

std::string loudnessText(const Loudness& loudness) {
  return fmt::format("{}, range {:.1f} LU, true peak {}, sample peak {}", integrated(loudness),
                     loudness.rangeLU, level(loudness.truePeakDb, "dBTP"),
                     level(loudness.samplePeakDb, "dBFS"));
}

nlohmann::ordered_json loudnessJSON(const Loudness& loudness) {
  return {{"integratedLUFS", number(loudness.integratedLUFS)},
          {"rangeLU", number(loudness.rangeLU)},
          {"truePeakDb", number(loudness.truePeakDb)},
          {"samplePeakDb", number(loudness.samplePeakDb)}};
}

}  // namespace sonmere
