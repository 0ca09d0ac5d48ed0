#include "base/LengthText.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace sonmere {

std::string lengthText(double seconds, int decimals) {
  const double unit = std::pow(10, decimals);
  // Rounded before it is taken apart: 59.96 s is 1:00.0.
  const double whole = std::round(std::clamp(seconds, 0.0, 1e12) * unit) / unit;
  const auto minutes = std::int64_t(whole / 60);
  const double rest = std::max(whole - double(minutes) * 60, 0.0);
  const int width = decimals > 0 ? 3 + decimals : 2;
  if (minutes < 60) return fmt::format("{}:{:0{}.{}f}", minutes, rest, width, decimals);
  return fmt::format("{}:{:02}:{:0{}.{}f}", minutes / 60, minutes % 60, rest, width, decimals);
}

std::string sizeText(std::uint64_t bytes) {
  if (bytes < 1000) return fmt::format("{} bytes", bytes);
  double value = double(bytes);
  const char* const units[] = {"kB", "MB", "GB", "TB"};
  std::size_t unit = 0;
  for (value /= 1000; value >= 999.95 && unit + 1 < std::size(units); ++unit) value /= 1000;
  return fmt::format("{:.1f} {}", value, units[unit]);
}

}  // namespace sonmere
