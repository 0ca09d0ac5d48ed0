#include "dsp/SincTable.h"

#include <cmath>
#include <map>
#include <mutex>
#include <numbers>

namespace sonmere {

namespace {

constexpr std::uint32_t kTapsAtUnity = 64;
constexpr double kKaiserBeta = 9.0;  // stop band at -90 dB
constexpr double kPassBand = 0.93;   // of the lower Nyquist frequency

double besselI0(double x) {
  double sum = 1, term = 1;
  for (int k = 1; term > 1e-12 * sum; ++k) {
    term *= (x / (2 * k)) * (x / (2 * k));
    sum += term;
  }
  return sum;
}

}  // namespace

std::shared_ptr<const SincTable> SincTable::forRatio(double inputPerOutput) {
  static std::mutex mutex;
  static std::map<long, std::shared_ptr<const SincTable>> tables;
  // A hair over 1 is a clock's error, not a lower rate.
  const long thousandths = std::max(1000L, std::lround(std::ceil(inputPerOutput * 1000 - 0.5)));
  const std::lock_guard lock(mutex);
  auto& table = tables[thousandths];
  if (!table) table = std::make_shared<SincTable>(double(thousandths) / 1000);
  return table;
}

SincTable::SincTable(double stretch) : taps_((std::uint32_t(std::ceil(kTapsAtUnity * stretch)) + 7) & ~7u) {
  rows_.resize(std::size_t(kPhases + 1) * taps_);
  const double half = taps_ / 2.0, cutoff = kPassBand / stretch, scale = 1 / besselI0(kKaiserBeta);
  std::vector<double> values(taps_);
  for (std::uint32_t phase = 0; phase <= kPhases; ++phase) {
    double sum = 0;
    for (std::uint32_t tap = 0; tap < taps_; ++tap) {
      const double x = double(tap) - (half - 1) - double(phase) / kPhases;
      const double edge = x / half;
      const double window =
          std::abs(edge) < 1 ? besselI0(kKaiserBeta * std::sqrt(1 - edge * edge)) * scale : 0;
      const double angle = std::numbers::pi * x * cutoff;
      values[tap] = window * (std::abs(angle) < 1e-12 ? 1.0 : std::sin(angle) / angle);
      sum += values[tap];
    }
    float* row = rows_.data() + std::size_t(phase) * taps_;
    for (std::uint32_t tap = 0; tap < taps_; ++tap) row[tap] = float(values[tap] / sum);
  }
}

}  // namespace sonmere
