#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/RTScalar.h"
#include "dsp/Equaliser.h"
#include "dsp/RecorderRing.h"
#include "input/MicChannelMap.h"

namespace sonmere {

// Sources with a meter and an equaliser of their own.
constexpr int kExtraMeterSlots = 8;
// The longest block in which they have equaliser and pan.
constexpr std::int64_t kExtraScratchFrames = 4096;

// One additional input as the mic's capture sees it; fixed once published.
struct ExtraSourceRT {
  int chL = 0, chR = 0;  // of the device, from 0
  float gain = 1.0f;     // linear
  bool mute = false;
  int meterSlot = -1;  // -1: none is free
  bool eqEnabled = false;
  EQCoefficients eqCoefficients{};
  float panL = 1.0f, panR = 1.0f;
  std::shared_ptr<RecorderRing> recorder =
      nullptr;  // gets it behind equaliser and gain; of a muted one silence

  bool hasSlot() const noexcept { return meterSlot >= 0 && meterSlot < kExtraMeterSlots; }
};

using ExtraSources = std::vector<ExtraSourceRT>;

// What a recorder is told of a block.
struct BlockClock {
  double rate = 0;             // Hz
  std::uint64_t hostTime = 0;  // ns, of its first frame
};

// What outlives a list of sources, by slot. One instance a mic; the capture writes.
struct ExtraSlots {
  std::array<RTScalar<float>, kExtraMeterSlots> levels{};  // the main thread clears those that no source has
  // Set by the main thread when a source takes the slot: its filter begins at rest.
  std::array<RTScalar<bool>, kExtraMeterSlots> freshSlots{};
  std::array<std::array<double, 6>, kExtraMeterSlots> delays{};
};

// Adds every source to the stereo block, then holds it within full scale. A block beyond kExtraScratchFrames
// is added without equaliser and pan. `decay` a level's, `mono` has room
// for kExtraScratchFrames samples. Render thread.
void mixExtraSources(const ExtraSources& sources, ExtraSlots& slots, const CapturedFrames& block,
                     const BlockClock& clock, float decay, float* mono,
                     float* stereo) noexcept SONMERE_NONBLOCKING;

// Left and right gain of a pan from -1 to +1: the near side stays at full level.
std::pair<float, float> panGains(float pan);

// Holds samples between -1 and +1; what is no number becomes -1. Render thread.
void clipToFullScale(float* samples, std::int64_t n) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
