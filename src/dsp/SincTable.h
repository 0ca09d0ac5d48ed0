#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace sonmere {

// The rows of a windowed sinc at evenly spaced fractions of a frame. Tables are shared: there are as many as
// kinds of conversion. Immutable. Threads: any but a render thread for `forRatio`.
class SincTable {
 public:
  static constexpr std::uint32_t kPhases = 512;

  // The filter for this many input frames per output frame, to the nearest thousandth upwards: clock errors
  // share one table.
  static std::shared_ptr<const SincTable> forRatio(double inputPerOutput);

  explicit SincTable(double stretch);
  // A multiple of 8.
  std::uint32_t taps() const { return taps_; }
  // Row of phase 0 to kPhases.
  const float* row(std::uint32_t phase) const { return rows_.data() + std::size_t(phase) * taps_; }

 private:
  std::uint32_t taps_;
  std::vector<float> rows_;
};

}  // namespace sonmere
