#include "ui/editor/TimelineScale.h"

#include <algorithm>
#include <cmath>

namespace sonmere {
namespace {

constexpr double kNamePixels = 90;
constexpr double kSteps[] = {0.001, 0.002, 0.005, 0.01, 0.02, 0.05,  0.1,   0.2,   0.5,
                             1,     2,     5,     10,   15,   30,    60,    120,   300,
                             600,   900,   1800,  3600, 7200, 10800, 21600, 43200, 86400};
constexpr int kParts = 5;  // unnamed ticks between named ones

}  // namespace

std::int64_t TimelineScale::frameAt(double x) const { return start + std::llround(x * framesPerPixel()); }

double TimelineScale::shareOfGain(double gain) {
  const double decibels = gain > 0 ? 20 * std::log10(gain) : -kMostDb;
  return (1 - std::clamp(decibels / kMostDb, -1.0, 1.0)) / 2;
}

double TimelineScale::gainAtShare(double share) {
  const double decibels = (1 - 2 * std::clamp(share, 0.0, 1.0)) * kMostDb;
  return std::pow(10, decibels / 20);
}

double TimelineScale::stepSeconds(double sampleRate) const {
  const double wanted = framesPerPixel() * kNamePixels / sampleRate;
  const auto* found = std::lower_bound(std::begin(kSteps), std::end(kSteps), wanted);
  return found == std::end(kSteps) ? 86400 : *found;
}

int TimelineScale::decimals(double sampleRate) const {
  const double step = stepSeconds(sampleRate);
  return step >= 1 ? 0 : step >= 0.1 ? 1 : step >= 0.01 ? 2 : 3;
}

std::vector<TimelineScale::Tick> TimelineScale::ticks(double sampleRate) const {
  const double step = stepSeconds(sampleRate) / kParts;
  std::vector<Tick> all;
  const auto first = static_cast<std::int64_t>(std::ceil(static_cast<double>(start) / sampleRate / step));
  for (std::int64_t i = first;; ++i) {
    const std::int64_t frame = std::llround(static_cast<double>(i) * step * sampleRate);
    if (frame >= end) return all;
    all.push_back({frame, i % kParts == 0});
  }
}

}  // namespace sonmere
