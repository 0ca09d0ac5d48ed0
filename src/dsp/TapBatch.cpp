#include "dsp/TapBatch.h"

#include "dsp/Limiter.h"
#include "dsp/VectorMath.h"

namespace sonmere {

void TapBatch::add(TapEffects& effects, float volume, float ceiling, float gain, bool isSilent) noexcept {
  taps_[count_] = {&effects, nextBlock(), volume, ceiling, gain, isSilent};
  ++count_;
}

void TapBatch::equalise() noexcept SONMERE_NONBLOCKING {
  const std::size_t frames = std::size_t(n_ / 2);
  if (frames == 0) return;
  EqualiserLane lanes[kMaxLanes];
  float* blocks[kMaxLanes];
  TapEffects* effects[kMaxLanes];
  std::size_t count = 0;
  for (std::size_t i = 0; i < count_; ++i) {
    if (!taps_[i].effects->eqEnabled) continue;
    effects[count] = taps_[i].effects;
    blocks[count] = taps_[i].block;
    lanes[count] = equaliserLane(effects[count]->eqCoefficients, effects[count]->eqDelays);
    ++count;
  }
  if (count == 1)
    kernels().equalise(lanes[0], blocks[0], frames);
  else
    kernels().equaliseLanes(lanes, blocks, count, frames);
  for (std::size_t i = 0; i < count; ++i) saveDelays(lanes[i], effects[i]->eqDelays);
}

void TapBatch::boost() noexcept SONMERE_NONBLOCKING {
  for (std::size_t i = 0; i < count_; ++i)
    if (taps_[i].volume > 1.0f) scale(taps_[i].block, taps_[i].volume, std::size_t(n_));
}

void TapBatch::limitAndMix(float* sum, EqualiserLane* sumEqualiser) noexcept SONMERE_NONBLOCKING {
  LimiterLane lanes[kMaxLanes];
  float *limited[kMaxLanes], *sources[kMaxLanes];
  float gains[kMaxLanes];
  TapEffects* effects[kMaxLanes];
  MixJob job{lanes, limited, 0, sources, gains, 0, sum, sumEqualiser};
  for (std::size_t i = 0; i < count_; ++i) {
    const Tap& tap = taps_[i];
    if (!tap.isSilent) {
      sources[job.sourceCount] = tap.block;
      gains[job.sourceCount++] = tap.gain;
    }
    if ((tap.volume <= 1.0f && !tap.effects->limiterEnabled) || n_ < 2) continue;
    const float peak = maxMagnitude(tap.block, std::size_t(n_)), gain = tap.effects->limiterGain;
    if (isLimiterAtRest(peak, tap.ceiling, gain)) continue;
    lanes[job.limitedCount] = limiterLane(peak, tap.ceiling, gain, kLimiterRates48k);
    limited[job.limitedCount] = tap.block;
    effects[job.limitedCount++] = tap.effects;
  }
  kernels().limitAndMix(job, std::size_t(n_ / 2));
  for (std::size_t i = 0; i < job.limitedCount; ++i) effects[i]->limiterGain = lanes[i].gain;
  // Half a frame at the end of an odd block.
  if (n_ % 2 != 0)
    for (std::size_t i = 0; i < job.sourceCount; ++i) sum[n_ - 1] += sources[i][n_ - 1] * gains[i];
}

}  // namespace sonmere
