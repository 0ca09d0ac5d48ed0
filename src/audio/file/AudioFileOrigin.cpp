#include "audio/file/AudioFileOrigin.h"

#include <cmath>
#include <ctime>

namespace sonmere {

AudioFileOrigin audioFileOrigin(Date date, double sampleRate) {
  const auto second = std::chrono::floor<std::chrono::seconds>(date);
  const std::time_t time = second.time_since_epoch().count();
  std::tm local{};
  localtime_r(&time, &local);
  const double seconds =
      3600.0 * local.tm_hour + 60.0 * local.tm_min + local.tm_sec + toSeconds(date - Date(second));
  return {date, std::uint64_t(std::llround(seconds * sampleRate))};
}

}  // namespace sonmere
