#include "dsp/TapBatch.h"

#include <cmath>
#include <limits>

#include "dsp/Limiter.h"
#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

// Changes no sample, unless it is not a number.
constexpr LimiterLane kNoLimiter{1, 1, std::numeric_limits<float>::infinity(), 1};

}  // namespace

void TapBatch::add(TapEffects& effects, float volume, float ceiling, float gain, bool isSilent) noexcept {
  taps_[count_] = {&effects, nextBlock(), volume, ceiling, gain, isSilent, false, 0, false};
  ++count_;
}

void TapBatch::equalise() noexcept SONMERE_NONBLOCKING {
  runEqualisers(false);
  bringBack();
}

void TapBatch::boost() noexcept SONMERE_NONBLOCKING {
  for (std::size_t i = 0; i < count_; ++i)
    if (taps_[i].volume > 1.0f) scale(taps_[i].block, taps_[i].volume, std::size_t(n_));
}

void TapBatch::equaliseAndBoost() noexcept SONMERE_NONBLOCKING {
  runEqualisers(true);
  for (std::size_t i = 0; i < count_; ++i)
    if (!taps_[i].isBeside && taps_[i].volume > 1.0f) scale(taps_[i].block, taps_[i].volume, std::size_t(n_));
}

void TapBatch::runEqualisers(bool withBoosts) noexcept {
  const std::size_t frames = std::size_t(n_ / 2);
  if (frames == 0) return;
  Tap* taps[kMaxLanes];
  EqualiserLane* lanes[kMaxLanes];
  float* blocks[kMaxLanes];
  float boosts[kMaxLanes], peaks[kMaxLanes];
  std::size_t count = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    Tap& tap = taps_[i];
    if (!tap.effects->eqEnabled) continue;
    taps[count] = &tap;
    lanes[count] = &tap.effects->beginEqualiser();
    blocks[count] = tap.block;
    boosts[count++] = withBoosts ? tap.boost() : 1.0f;
  }
  if (count < 2 || n_ > kSideSamples || n_ % 2 != 0) {
    for (std::size_t k = 0; k < count; ++k) kernels().equalise(*lanes[k], blocks[k], frames);
  } else {
    kernels().equaliseSideBySide({lanes, blocks, boosts, peaks, count, scratch_.side()}, frames);
    for (std::size_t k = 0; k < count; ++k) {
      taps[k]->isBeside = true;
      taps[k]->peak = peaks[k];
    }
    besideCount_ = count;
  }
  for (std::size_t k = 0; k < count; ++k) taps[k]->effects->endEqualiser();
}

bool TapBatch::isToBeLimited(Tap& tap) const noexcept {
  if ((tap.volume <= 1.0f && !tap.effects->limiterEnabled) || n_ < 2) return false;
  if (!tap.isBeside) tap.peak = maxMagnitude(tap.block, std::size_t(n_));
  return !isLimiterAtRest(tap.peak, tap.ceiling, tap.effects->limiterGain);
}

// Those that lie side by side pass all or none; none is right when nobody is to be limited.
bool TapBatch::canAllPassLimiters() const noexcept {
  for (std::size_t i = 0; i < count_; ++i)
    if (taps_[i].isBeside && !taps_[i].isLimited && std::isnan(taps_[i].peak)) return false;
  return true;
}

// Ends lying side by side.
void TapBatch::bringBack() noexcept {
  if (besideCount_ == 0) return;
  float* blocks[kMaxLanes];
  MixJob job{.side = scratch_.side(), .sideBlocks = blocks};
  for (std::size_t i = 0; i < count_; ++i)
    if (taps_[i].isBeside) blocks[job.sideCount++] = taps_[i].block;
  kernels().limitAndMix(job, std::size_t(n_ / 2));
  for (std::size_t i = 0; i < count_; ++i) taps_[i].isBeside = false;
  besideCount_ = 0;
}

void TapBatch::limitAndMix(float* sum, EqualiserLane* sumEqualiser) noexcept SONMERE_NONBLOCKING {
  bool isBesideLimited = false;
  for (std::size_t i = 0; i < count_; ++i) {
    taps_[i].isLimited = isToBeLimited(taps_[i]);
    isBesideLimited |= taps_[i].isBeside && taps_[i].isLimited;
  }
  if (isBesideLimited && !canAllPassLimiters()) bringBack();

  LimiterLane lanes[kMaxLanes], besideLanes[kMaxLanes];
  float *limited[kMaxLanes], *beside[kMaxLanes], *sources[kMaxLanes];
  float gains[kMaxLanes];
  TapEffects *effects[kMaxLanes], *besideEffects[kMaxLanes];
  MixJob job{.side = scratch_.side(),
             .sideBlocks = beside,
             .sideLimiters = isBesideLimited ? besideLanes : nullptr,
             .limiters = lanes,
             .limited = limited,
             .sources = sources,
             .gains = gains,
             .sum = sum,
             .equaliser = sumEqualiser};
  for (std::size_t i = 0; i < count_; ++i) {
    const Tap& tap = taps_[i];
    if (!tap.isSilent) {
      sources[job.sourceCount] = tap.block;
      gains[job.sourceCount++] = tap.gain;
    }
    const LimiterLane lane =
        tap.isLimited ? limiterLane(tap.peak, tap.ceiling, tap.effects->limiterGain, kLimiterRates48k)
                      : kNoLimiter;
    TapEffects* const limitedEffects = tap.isLimited ? tap.effects : nullptr;
    if (tap.isBeside) {
      beside[job.sideCount] = tap.block;
      besideLanes[job.sideCount] = lane;
      besideEffects[job.sideCount++] = limitedEffects;
    } else if (tap.isLimited) {
      limited[job.limitedCount] = tap.block;
      lanes[job.limitedCount] = lane;
      effects[job.limitedCount++] = limitedEffects;
    }
  }
  kernels().limitAndMix(job, std::size_t(n_ / 2));
  for (std::size_t k = 0; k < job.limitedCount; ++k) effects[k]->limiterGain = lanes[k].gain;
  for (std::size_t k = 0; k < job.sideCount; ++k)
    if (besideEffects[k]) besideEffects[k]->limiterGain = besideLanes[k].gain;
  // Half a frame at the end of an odd block.
  if (n_ % 2 != 0)
    for (std::size_t i = 0; i < job.sourceCount; ++i) sum[n_ - 1] += sources[i][n_ - 1] * gains[i];
}

}  // namespace sonmere
