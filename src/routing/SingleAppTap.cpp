#include "routing/SingleAppTap.h"

namespace sonmere {

SingleAppTap::SingleAppTap(ProcessID mainPID, std::vector<AudioObjectID> tapped, std::string familyKey,
                           const HostClock& clock, const RenderFlags& flags)
    : pid(mainPID),
      audioObjectIDs(std::move(tapped)),
      bundleID(std::move(familyKey)),
      hostClock(clock),
      renderFlags(flags),
      ring_(new float[std::size_t(kTapRingSamples)]()) {}

void SingleAppTap::allocateMonitorBuffer() {
  if (monitorRing_) return;
  monitorRing_.reset(new float[std::size_t(kTapRingSamples)]());
  monitorBuffer.store(monitorRing_.get());
}

}  // namespace sonmere
