#include "dsp/Equaliser.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
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

template <class Coefficients>
void narrow(const Coefficients& coefficients, EqualiserLane& lane) noexcept {
  for (std::size_t k = 0; k < kEQCoefficientCount; ++k) {
    float* frame = lane.frames[EqualiserLane::coefficient(k)];
    frame[0] = frame[1] = float(coefficients[k]);
  }
}

template <class Coefficients>
EqualiserLane makeLane(const Coefficients& coefficients, const RTDoubles& delays) noexcept {
  EqualiserLane lane;
  narrow(coefficients, lane);
  loadDelays(lane, delays);
  return lane;
}

}  // namespace

EQCoefficients coefficients(const AppEQSettings& settings, double sampleRate) {
  return build(settings, [sampleRate](double f) { return angle(f, sampleRate); });
}

EQCoefficients coefficients48k(const AppEQSettings& settings) { return build(settings, angle48k); }

EqualiserLane equaliserLane(const RTDoubles& coefficients,
                            const RTDoubles& delays) noexcept SONMERE_NONBLOCKING {
  return makeLane(coefficients, delays);
}

EqualiserLane equaliserLane(const EQCoefficients& coefficients,
                            const RTDoubles& delays) noexcept SONMERE_NONBLOCKING {
  return makeLane(coefficients, delays);
}

void setCoefficients(EqualiserLane& lane, const RTDoubles& coefficients) noexcept SONMERE_NONBLOCKING {
  narrow(coefficients, lane);
}

void loadDelays(EqualiserLane& lane, const RTDoubles& delays) noexcept SONMERE_NONBLOCKING {
  for (std::size_t section = 0; section < 3; ++section)
    for (std::size_t z = 0; z < 2; ++z) {
      float* frame = lane.frames[EqualiserLane::delay(section, z)];
      frame[0] = float(delays[4 * section + z]);
      frame[1] = float(delays[4 * section + 2 + z]);
    }
}

namespace {

typedef float Section
    __attribute__((vector_size(4 * sizeof(float))));  // z1 left, z1 right, z2 left, z2 right

Section sectionDelays(const EqualiserLane& lane, std::size_t section) noexcept {
  Section delays;
  std::memcpy(&delays, lane.frames[EqualiserLane::delay(section, 0)], sizeof delays);
  return delays;
}

// What is finite makes 0 of itself.
bool isFinite(const EqualiserLane& lane) noexcept {
  Section sum{};
  for (std::size_t section = 0; section < 3; ++section)
    sum += sectionDelays(lane, section) - sectionDelays(lane, section);
  return (sum[0] + sum[1]) + (sum[2] + sum[3]) == 0;
}

void resetBrokenChannels(EqualiserLane& lane) noexcept {
  for (std::size_t channel = 0; channel < 2; ++channel) {
    bool isBroken = false;
    for (std::size_t k = 0; k < 6; ++k) isBroken |= !std::isfinite(lane.frames[k][channel]);
    for (std::size_t k = 0; isBroken && k < 6; ++k) lane.frames[k][channel] = 0;
  }
}

}  // namespace

void saveDelays(EqualiserLane& lane, RTDoubles& delays) noexcept SONMERE_NONBLOCKING {
  typedef double Wide __attribute__((vector_size(4 * sizeof(double))));
  if (!isFinite(lane)) resetBrokenChannels(lane);
  for (std::size_t section = 0; section < 3; ++section) {
    const Wide wide = __builtin_convertvector(sectionDelays(lane, section), Wide);
    delays.set(4 * section, wide[0]);
    delays.set(4 * section + 1, wide[2]);
    delays.set(4 * section + 2, wide[1]);
    delays.set(4 * section + 3, wide[3]);
  }
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
