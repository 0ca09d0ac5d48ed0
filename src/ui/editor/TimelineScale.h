#pragma once

#include <cstdint>
#include <vector>

namespace sonmere {

// Frames of a timeline against pixels, and gains against the height of a lane.
struct TimelineScale {
  std::int64_t start = 0;  // first frame in view
  std::int64_t end = 1;    // one past the last
  double width = 1;        // pixels

  double framesPerPixel() const { return static_cast<double>(end - start) / width; }
  double xOf(std::int64_t frame) const { return static_cast<double>(frame - start) / framesPerPixel(); }
  std::int64_t frameAt(double x) const;

  // As share of the lane's height from above: 0 dB in the middle, kMostDb on top.
  static constexpr double kMostDb = 24;
  static double shareOfGain(double gain);
  static double gainAtShare(double share);

  struct Tick {
    std::int64_t frame;
    bool isNamed;
  };
  // At whole steps of time (1, 2, 5 times a power of ten, minutes, hours), named ones wide apart enough.
  std::vector<Tick> ticks(double sampleRate) const;
  // How many decimals of a second the names of the ticks need.
  int decimals(double sampleRate) const;

 private:
  double stepSeconds(double sampleRate) const;
};

}  // namespace sonmere
