#include "app/MicEngineRecorderFeed.h"

namespace sonmere {

// A device of one channel has none that are mixed.
std::vector<MicRecorderFeed::Input> MicEngineRecorderFeed::inputs() const {
  std::vector<Input> active;
  if (engine_.channelCount() < 2) return active;
  for (const MicExtraSource& source : *engine_.extras().extraSources)
    if (!source.isMuted) active.push_back({source.id, source.label});
  return active;
}

}  // namespace sonmere
