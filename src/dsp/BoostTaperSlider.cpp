#include "dsp/BoostTaperSlider.h"

#include <algorithm>
#include <cmath>

namespace sonmere {

namespace {
constexpr double kKnee = 0.75;           // track position of 100 %
constexpr double kSnap = 0.02;           // how near to 100 % becomes 100 %
constexpr float kLinearLimit = 1.001f;   // a maximum up to here needs no taper
constexpr double kSmallestStep = 0.011;  // finer steps than this are not steps
}  // namespace

float BoostTaperSlider::valueAt(double position) const {
  if (maxValue <= kLinearLimit) return float(std::clamp(position, 0.0, 1.0));
  double v = position <= kKnee ? position / kKnee : 1 + (position - kKnee) * 4 * (maxValue - 1.0);
  if (std::abs(v - 1) < kSnap) v = 1;
  if (step && *step > kSmallestStep) v = std::round(v / *step) * *step;
  return float(std::clamp(v, 0.0, double(maxValue)));
}

double BoostTaperSlider::positionOf(float wanted) const {
  if (maxValue <= kLinearLimit) return std::clamp(double(wanted), 0.0, 1.0);
  const double v = std::clamp(double(wanted), 0.0, double(maxValue));
  return v <= 1 ? kKnee * v : kKnee + (1 - kKnee) * (v - 1) / (maxValue - 1.0);
}

}  // namespace sonmere
