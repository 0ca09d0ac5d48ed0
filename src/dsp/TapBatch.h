#pragma once

#include <cstdint>

#include "dsp/RenderScratch.h"
#include "dsp/TapEffects.h"

namespace sonmere {

// Some taps of a render, side by side on their way through the steps of one block. The steps are to be called
// in the order below. Render thread.
class TapBatch {
 public:
  TapBatch(RenderScratch& scratch, std::int64_t n) noexcept : scratch_(scratch), n_(n) {}

  bool isFull() const noexcept { return count_ == kMaxLanes; }
  // Where the next tap's n samples go.
  float* nextBlock() noexcept { return scratch_.block(count_, n_); }
  // Takes that block in, for a tap of this volume, and of this ceiling should it be limited. `gain` is what
  // it is added with; a tap that `isSilent` is not added at all.
  void add(TapEffects& effects, float volume, float ceiling, float gain, bool isSilent = false) noexcept;

  // The three equaliser sections of the taps that have them on.
  void equalise() noexcept SONMERE_NONBLOCKING;
  // The part of a volume above 100 %: multiplies only then.
  void boost() noexcept SONMERE_NONBLOCKING;
  // Both at once, where nobody wants to see the blocks in between.
  void equaliseAndBoost() noexcept SONMERE_NONBLOCKING;
  // The limiters that are on, or that a boost calls for, so that it never passes the ceiling; then each tap
  // is added to `sum`; then the sum's own equaliser runs, if there is one.
  void limitAndMix(float* sum, EqualiserLane* sumEqualiser) noexcept SONMERE_NONBLOCKING;
  // The tap at `index`, in the order of adding: its volume, and its block before its gain.
  float volume(std::size_t index) const noexcept { return taps_[index].volume; }
  float* block(std::size_t index) noexcept { return taps_[index].block; }

 private:
  struct Tap {
    TapEffects* effects;
    float* block;
    float volume, ceiling, gain;
    bool isSilent;
    bool isBeside;  // among those that lie side by side, and whose peaks are known
    float peak;
    bool isLimited;

    float boost() const noexcept { return volume > 1.0f ? volume : 1.0f; }
  };

  void runEqualisers(bool withBoosts) noexcept;
  bool isToBeLimited(Tap& tap) const noexcept;
  bool canAllPassLimiters() const noexcept;
  void bringBack() noexcept;

  RenderScratch& scratch_;
  const std::int64_t n_;
  std::size_t count_ = 0;
  std::size_t besideCount_ = 0;
  Tap taps_[kMaxLanes];
};

}  // namespace sonmere
