#include "input/MicChannelMap.h"

#include <cmath>

namespace sonmere {

namespace {

// A channel below this is silent.
constexpr float kSilence = 0.002f;
// Two channels within this ratio of one another are a pair; one this much below the other is not in use.
constexpr float kPairRatio = 0.5f;
constexpr float kUnusedRatio = 0.1f;
constexpr double kHalfLife = 0.7;  // seconds

// What a held peak becomes with this block; a sample that is no number counts for nothing.
float follow(const CapturedFrames& block, int channel, float level, float decay) noexcept {
  float peak = level * decay;
  for (std::int64_t i = 0; i < block.frames; ++i)
    peak = std::max(peak, std::abs(block.samples[i * block.channels + channel]));
  return peak;
}

// From input `own` to the other one or to both, as their levels stand.
InputChannelMode leave(InputChannelMode own, InputChannelMode other, float ownLevel,
                       float otherLevel) noexcept {
  if (otherLevel > kSilence && ownLevel < kSilence) return other;
  if (otherLevel > kSilence && otherLevel >= kPairRatio * ownLevel) return InputChannelMode::stereo;
  return own;
}

InputChannelMode leaveStereo(float level1, float level2) noexcept {
  if (level1 > kSilence && kUnusedRatio * level1 > level2) return InputChannelMode::input1;
  if (level2 > kSilence && kUnusedRatio * level2 > level1) return InputChannelMode::input2;
  return InputChannelMode::stereo;
}

}  // namespace

float meterDecay(std::int64_t frames, double sampleRate) noexcept SONMERE_NONBLOCKING {
  return float(std::exp2(-double(frames) / (kHalfLife * (sampleRate > 0 ? sampleRate : 48000.0))));
}

void AutoChannelChoice::follow(const CapturedFrames& block, float decay) noexcept SONMERE_NONBLOCKING {
  level1 = sonmere::follow(block, 0, level1, decay);
  level2 = sonmere::follow(block, 1, level2, decay);
  if (choice == InputChannelMode::input1)
    choice = leave(choice, InputChannelMode::input2, level1, level2);
  else if (choice == InputChannelMode::input2)
    choice = leave(choice, InputChannelMode::input1, level2, level1);
  else
    choice = leaveStereo(level1, level2);
}

ChannelPair channelPair(InputChannelMode mode, ChannelPair custom,
                        int channels) noexcept SONMERE_NONBLOCKING {
  const int last = channels - 1;
  switch (mode) {
    case InputChannelMode::input1:
      return {0, 0};
    case InputChannelMode::input2:
      return {std::min(1, last), std::min(1, last)};
    case InputChannelMode::custom:
      return {std::clamp(custom.left, 0, last), std::clamp(custom.right, 0, last)};
    default:
      return {0, std::min(1, last)};
  }
}

void mapChannels(const CapturedFrames& block, ChannelPair pair, float* stereo) noexcept SONMERE_NONBLOCKING {
  for (std::int64_t i = 0; i < block.frames; ++i) {
    const float* frame = block.samples + i * block.channels;
    stereo[2 * i] = frame[pair.left];
    stereo[2 * i + 1] = frame[pair.right];
  }
}

void crossfadeChannels(const CapturedFrames& block, ChannelPair old, ChannelPair pair,
                       float* stereo) noexcept SONMERE_NONBLOCKING {
  const float step = block.frames < 2 ? 1.0f : float(block.frames);
  for (std::int64_t i = 0; i < block.frames; ++i) {
    const float* frame = block.samples + i * block.channels;
    const float part = float(i + 1) / step;
    stereo[2 * i] = frame[old.left] + (frame[pair.left] - frame[old.left]) * part;
    stereo[2 * i + 1] = frame[old.right] + (frame[pair.right] - frame[old.right]) * part;
  }
}

}  // namespace sonmere
