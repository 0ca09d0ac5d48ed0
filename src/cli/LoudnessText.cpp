#include "cli/LoudnessText.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace sonmere {

namespace {

std::string level(double value, const char* unit) {
  return std::isfinite(value) ? fmt::format("{:.1f} {}", value, unit) : "silent";
}

// To a hundredth: measuring knows no more.
nlohmann::ordered_json number(double value) {
  return std::isfinite(value) ? nlohmann::ordered_json(std::round(value * 100) / 100)
                              : nlohmann::ordered_json(nullptr);
}

}  // namespace

std::string loudnessText(const Loudness& loudness) {
  return fmt::format("{}, range {:.1f} LU, true peak {}, sample peak {}",
                     level(loudness.integratedLUFS, "LUFS"), loudness.rangeLU,
                     level(loudness.truePeakDb, "dBTP"), level(loudness.samplePeakDb, "dBFS"));
}

nlohmann::ordered_json loudnessJSON(const Loudness& loudness) {
  return {{"integratedLUFS", number(loudness.integratedLUFS)},
          {"rangeLU", number(loudness.rangeLU)},
          {"truePeakDb", number(loudness.truePeakDb)},
          {"samplePeakDb", number(loudness.samplePeakDb)}};
}

}  // namespace sonmere
