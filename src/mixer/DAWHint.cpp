#include "mixer/DAWHint.h"

#include <fmt/format.h>

#include <algorithm>

namespace sonmere::DAWHint {

bool isListed(std::string_view bundleID) {
  return std::ranges::find(kBundleIDs, bundleID) != kBundleIDs.end();
}

std::string text(std::string_view appName) {
  return fmt::format(
      "**{}** is controlled by Per-App Volume. Sonmere replays its sound as a stereo mix on your default "
      "output, which adds a few milliseconds of delay. For multi-output sessions or the lowest latency, "
      "switch it to Direct: Sonmere then leaves its audio untouched. You can change this any time with a "
      "right-click on the app.",
      appName);
}

}  // namespace sonmere::DAWHint
