#include "dsp/Equaliser.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>

namespace sonmere {

namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;
// Four digits of the square root of two; stored sounds were made with it.
constexpr double kRootTwo = 1.4142;
// The angle of 23999 Hz at 48000 Hz.
constexpr double kHighestAngle48k = 3.1414617538958938;

double angle48k(double f) { return f > 23999 ? kHighestAngle48k : std::max(f, 20.0) * kTwoPi / 48000; }

double angle(double f, double sampleRate) {
  double g = std::min(sampleRate * 0.5 - 1, f);
  if (!(g >= 20)) g = 20;
  return g * kTwoPi / sampleRate;
}

void highPass(double w, double* out) {
  const double c = std::cos(w), alpha = std::sin(w) / kRootTwo, a0 = 1 + alpha;
  out[0] = 0.5 * (1 + c) / a0;
  out[1] = -(1 + c) / a0;
  out[2] = out[0];
  out[3] = -2 * c / a0;
  out[4] = (1 - alpha) / a0;
}

void bell(double w, double gainDb, double q, double* out) {
  const double amplitude = std::pow(10.0, gainDb / 40);
  const double alpha = std::sin(w) / (2 * std::max(q, 0.1)), a0 = 1 + alpha / amplitude;
  out[0] = (1 + alpha * amplitude) / a0;
  out[1] = -2 * std::cos(w) / a0;
  out[2] = (1 - alpha * amplitude) / a0;
  out[3] = out[1];
  out[4] = (1 - alpha / amplitude) / a0;
}

void lowPass(double w, double* out) {
  const double c = std::cos(w), alpha = std::sin(w) / kRootTwo, a0 = 1 + alpha;
  out[0] = 0.5 * (1 - c) / a0;
  out[1] = (1 - c) / a0;
  out[2] = out[0];
  out[3] = -2 * c / a0;
  out[4] = (1 - alpha) / a0;
}

template <class Angle>
EQCoefficients build(const AppEQSettings& settings, Angle&& angleOf) {
  EQCoefficients result{};
  highPass(angleOf(settings.highPassFreq), result.data());
  bell(angleOf(settings.paraFreq), settings.paraGain, settings.paraQ, result.data() + 5);
  lowPass(angleOf(settings.lowPassFreq), result.data() + 10);
  return result;
}

// Left and right of one frame in the first two lanes.
using Lanes = float __attribute__((vector_size(16)));

// The three sections fused in one loop, both channels at once: the same operations on the same values in the
// same order per sample as three passes, so the same bits.
template <class Coefficients>
void cascade(const Coefficients& c, RTDoubles& delays, std::size_t frames, float* buffer) noexcept {
  Lanes b0[3], b1[3], b2[3], a1[3], a2[3], z1[3], z2[3];
  const auto both = [](double v) { return Lanes{float(v), float(v), 0, 0}; };
  for (std::size_t s = 0; s < 3; ++s) {
    b0[s] = both(c[5 * s]), b1[s] = both(c[5 * s + 1]), b2[s] = both(c[5 * s + 2]);
    a1[s] = both(c[5 * s + 3]), a2[s] = both(c[5 * s + 4]);
    z1[s] = Lanes{float(delays[4 * s]), float(delays[4 * s + 2]), 0, 0};
    z2[s] = Lanes{float(delays[4 * s + 1]), float(delays[4 * s + 3]), 0, 0};
  }
  for (std::size_t i = 0; i < frames; ++i) {
    Lanes x = {buffer[2 * i], buffer[2 * i + 1], 0, 0};
    for (std::size_t s = 0; s < 3; ++s) {
      const Lanes y = b0[s] * x + z1[s];
      z1[s] = (b1[s] * x - a1[s] * y) + z2[s];
      z2[s] = b2[s] * x - a2[s] * y;
      x = y;
    }
    buffer[2 * i] = x[0];
    buffer[2 * i + 1] = x[1];
  }
  for (std::size_t s = 0; s < 3; ++s) {
    delays.set(4 * s, z1[s][0]);
    delays.set(4 * s + 1, z2[s][0]);
    delays.set(4 * s + 2, z1[s][1]);
    delays.set(4 * s + 3, z2[s][1]);
  }
}

}  // namespace

EQCoefficients coefficients(const AppEQSettings& settings, double sampleRate) {
  return build(settings, [sampleRate](double f) { return angle(f, sampleRate); });
}

EQCoefficients coefficients48k(const AppEQSettings& settings) { return build(settings, angle48k); }

void applyEqualiser(const RTDoubles& coefficients, RTDoubles& delays, std::size_t frames,
                    float* buffer) noexcept SONMERE_NONBLOCKING {
  cascade(coefficients, delays, frames, buffer);
}

void applyEqualiser(const EQCoefficients& coefficients, RTDoubles& delays, std::size_t frames,
                    float* buffer) noexcept SONMERE_NONBLOCKING {
  cascade(coefficients, delays, frames, buffer);
}

double equaliserCurveDb(const AppEQSettings& settings, double f) {
  double db = 0;
  if (f / settings.highPassFreq < 1) db += 12 * std::log2(f / settings.highPassFreq);
  if (f / settings.lowPassFreq > 1) db += -12 * std::log2(f / settings.lowPassFreq);
  if (std::abs(settings.paraGain) > 0.01) {
    const double octaves = 2 * std::log2(f / settings.paraFreq) * std::max(settings.paraQ, 0.1);
    db += settings.paraGain * std::exp(-0.5 * octaves * octaves);
  }
  return std::clamp(db, -24.0, 24.0);
}

double logarithmicValue(double position, double lo, double hi) {
  return std::min(std::pow(10.0, std::log10(lo) + position * (std::log10(hi) - std::log10(lo))), hi);
}

}  // namespace sonmere
