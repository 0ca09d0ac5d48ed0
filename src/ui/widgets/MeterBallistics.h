#pragma once

#include <optional>

namespace sonmere {

// How a meter's bar and its held peak move between two levels that it is told: up at once, down at 24 dB a
// second; the peak stays for 1.5 s and then falls as the bar does. Levels are dB full scale.
class MeterBallistics {
 public:
  static constexpr double kFloorDb = -60;
  static constexpr double kFallDbPerSecond = 24;
  static constexpr double kHoldSeconds = 1.5;

  // `seconds` is any clock that only goes forward. No level: nothing is metered, the bar is empty at once.
  void tell(std::optional<double> levelDb, double seconds);

  double barDb() const { return bar_; }
  double peakDb() const { return peak_; }
  bool isAtRest() const { return bar_ <= kFloorDb && peak_ <= kFloorDb; }

 private:
  double bar_ = kFloorDb;
  double peak_ = kFloorDb;
  double peakTime_ = 0;
  double lastTime_ = 0;
};

}  // namespace sonmere
