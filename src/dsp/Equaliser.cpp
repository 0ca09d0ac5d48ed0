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

// Left and right of one frame, in the lower half of a register.
using Stereo = float __attribute__((vector_size(16)));

Stereo both(double v) { return Stereo{float(v), float(v), 0, 0}; }

// As one value of 8 bytes, which is one instruction each way.
void loadFrame(Stereo& frame, const float* source) {
  using Halves = double __attribute__((vector_size(16)));
  double bits;
  std::memcpy(&bits, source, sizeof bits);
  frame = Stereo(Halves{bits, 0});
}

// One section on both channels at once. A value of its own, so that all of it stays in registers.
struct Section {
  template <class Coefficients>
  Section(const Coefficients& c, const RTDoubles& delays, std::size_t index)
      : b0(both(c[5 * index])),
        b1(both(c[5 * index + 1])),
        b2(both(c[5 * index + 2])),
        a1(both(c[5 * index + 3])),
        a2(both(c[5 * index + 4])),
        z1{float(delays[4 * index]), float(delays[4 * index + 2]), 0, 0},
        z2{float(delays[4 * index + 1]), float(delays[4 * index + 3]), 0, 0} {}

  Stereo step(Stereo x) {
    const Stereo y = b0 * x + z1;
    z1 = (b1 * x - a1 * y) + z2;
    z2 = b2 * x - a2 * y;
    return y;
  }
  void save(RTDoubles& delays, std::size_t index) const {
    delays.set(4 * index, z1[0]);
    delays.set(4 * index + 1, z2[0]);
    delays.set(4 * index + 2, z1[1]);
    delays.set(4 * index + 3, z2[1]);
  }

  Stereo b0, b1, b2, a1, a2, z1, z2;
};

// The three sections fused in one loop: the same operations on the same values in the same order per sample
// as three passes over the block, so the same bits.
template <class Coefficients>
void cascade(const Coefficients& c, RTDoubles& delays, std::size_t frames, float* buffer) noexcept {
  Section highPassed(c, delays, 0), belled(c, delays, 1), lowPassed(c, delays, 2);
  for (std::size_t i = 0; i < frames; ++i) {
    Stereo x;
    loadFrame(x, buffer + 2 * i);
    x = lowPassed.step(belled.step(highPassed.step(x)));
    std::memcpy(buffer + 2 * i, &x, 2 * sizeof(float));
  }
  highPassed.save(delays, 0);
  belled.save(delays, 1);
  lowPassed.save(delays, 2);
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
