#include "input/ExtraSourceMix.h"

#include <algorithm>
#include <cmath>

namespace sonmere {

namespace {

// One section on one channel: transposed direct form II in float32, with its state widened back.
void runSection(const double* c, double* delays, float* samples, std::int64_t n) noexcept {
  const float b0 = float(c[0]), b1 = float(c[1]), b2 = float(c[2]), a1 = float(c[3]), a2 = float(c[4]);
  float z1 = float(delays[0]), z2 = float(delays[1]);
  for (std::int64_t i = 0; i < n; ++i) {
    const float x = samples[i];
    const float y = b0 * x + z1;
    z1 = (b1 * x - a1 * y) + z2;
    z2 = b2 * x - a2 * y;
    samples[i] = y;
  }
  // After a sample that was no number the filter begins anew.
  const bool isFinite = std::isfinite(z1) && std::isfinite(z2);
  delays[0] = isFinite ? double(z1) : 0.0;
  delays[1] = isFinite ? double(z2) : 0.0;
}

void equaliseMono(const EQCoefficients& coefficients, std::array<double, 6>& delays, float* samples,
                  std::int64_t n) noexcept {
  for (std::size_t section = 0; section < 3; ++section)
    runSection(coefficients.data() + 5 * section, delays.data() + 2 * section, samples, n);
}

ChannelPair channelsOf(const ExtraSourceRT& source, int channels) noexcept {
  return {std::clamp(source.chL, 0, channels - 1), std::clamp(source.chR, 0, channels - 1)};
}

// Straight into the mix; returns the largest magnitude.
float addPlain(const ExtraSourceRT& source, const CapturedFrames& block, float* stereo) noexcept {
  const ChannelPair pair = channelsOf(source, block.channels);
  float peak = 0;
  for (std::int64_t i = 0; i < block.frames; ++i) {
    const float* frame = block.samples + i * block.channels;
    const float left = frame[pair.left] * source.gain, right = frame[pair.right] * source.gain;
    peak = std::max({peak, std::abs(left), std::abs(right)});
    stereo[2 * i] += left;
    stereo[2 * i + 1] += right;
  }
  return peak;
}

void foldToMono(const ExtraSourceRT& source, const CapturedFrames& block, float* mono) noexcept {
  const ChannelPair pair = channelsOf(source, block.channels);
  for (std::int64_t i = 0; i < block.frames; ++i) {
    const float* frame = block.samples + i * block.channels;
    mono[i] = (frame[pair.left] + frame[pair.right]) * 0.5f * source.gain;
  }
}

// Tells its recorder of the block; how many of its frames are not for the file.
std::int64_t beforeRecorded(const ExtraSourceRT& source, const CapturedFrames& block,
                            const BlockClock& clock) noexcept {
  if (!source.recorder) return 0;
  source.recorder->noteRate(clock.rate);
  return source.recorder->start.framesBefore(clock.hostTime, clock.rate, block.frames);
}

// In pieces that fit the scratch.
void recordPlain(const ExtraSourceRT& source, const CapturedFrames& block, std::int64_t before,
                 float* mono) noexcept {
  for (std::int64_t done = before; done < block.frames;) {
    const CapturedFrames piece{block.samples + done * block.channels, block.channels,
                               std::min(block.frames - done, kExtraScratchFrames)};
    foldToMono(source, piece, mono);
    source.recorder->writeMono(mono, piece.frames);
    done += piece.frames;
  }
}

float addPanned(const ExtraSourceRT& source, ExtraSlots& slots, const CapturedFrames& block,
                std::int64_t before, float* mono, float* stereo) noexcept {
  foldToMono(source, block, mono);
  if (source.eqEnabled && source.hasSlot()) {
    const auto slot = std::size_t(source.meterSlot);
    if (slots.freshSlots[slot] && slots.freshSlots[slot].exchange(false)) slots.delays[slot].fill(0);
    equaliseMono(source.eqCoefficients, slots.delays[slot], mono, block.frames);
  }
  if (source.recorder) source.recorder->writeMono(mono + before, block.frames - before);
  float peak = 0;
  for (std::int64_t i = 0; i < block.frames; ++i) {
    peak = std::max(peak, std::abs(mono[i]));
    stereo[2 * i] += mono[i] * source.panL;
    stereo[2 * i + 1] += mono[i] * source.panR;
  }
  return peak;
}

}  // namespace

std::pair<float, float> panGains(float pan) {
  const float p = std::clamp(pan, -1.0f, 1.0f);
  return {p > 0 ? 1 - p : 1.0f, p < 0 ? 1 + p : 1.0f};
}

void clipToFullScale(float* samples, std::int64_t n) noexcept SONMERE_NONBLOCKING {
  for (std::int64_t i = 0; i < n; ++i) samples[i] = std::fmin(std::fmax(samples[i], -1.0f), 1.0f);
}

void mixExtraSources(const ExtraSources& sources, ExtraSlots& slots, const CapturedFrames& block,
                     const BlockClock& clock, float decay, float* mono,
                     float* stereo) noexcept SONMERE_NONBLOCKING {
  for (const ExtraSourceRT& source : sources) {
    RTScalar<float>* const level = source.hasSlot() ? &slots.levels[std::size_t(source.meterSlot)] : nullptr;
    const std::int64_t before = beforeRecorded(source, block, clock);
    if (source.mute) {
      if (level) *level = 0.0f;
      // Its file goes on beside the others.
      if (source.recorder) source.recorder->writeSilence(block.frames - before);
      continue;
    }
    const bool isLong = block.frames > kExtraScratchFrames;
    if (isLong && source.recorder) recordPlain(source, block, before, mono);
    const float peak =
        isLong ? addPlain(source, block, stereo) : addPanned(source, slots, block, before, mono, stereo);
    if (level) *level = std::max(peak, *level * decay);
  }
  clipToFullScale(stereo, 2 * block.frames);
}

}  // namespace sonmere
