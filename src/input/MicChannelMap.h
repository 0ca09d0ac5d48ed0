#pragma once

#include <cstdint>

#include "base/RealtimeScope.h"
#include "input/InputChannelMode.h"

namespace sonmere {

// A block as the input device delivers it: interleaved float32 of `channels` channels.
struct CapturedFrames {
  const float* samples;
  int channels;
  std::int64_t frames;
};

// Which two channels go left and right.
struct ChannelPair {
  int left = 0;
  int right = 0;
};

// Held peaks of channels 1 and 2, and what `automatic` made of them: input 1, input 2 or stereo. The mic's
// capture writes it.
struct AutoChannelChoice {
  float level1 = 0;
  float level2 = 0;
  InputChannelMode choice = InputChannelMode::stereo;

  // One block further. `decay` is what a held peak keeps of itself over the block.
  void follow(const CapturedFrames& block, float decay) noexcept SONMERE_NONBLOCKING;
};

// How much of a held peak is left after `frames` frames: meters halve every 0.7 s. A rate that isn't above
// zero counts as 48000 Hz. Render-safe.
float meterDecay(std::int64_t frames, double sampleRate) noexcept SONMERE_NONBLOCKING;

// The channels that a mode other than `automatic` takes; custom ones beyond the device take its last channel.
ChannelPair channelPair(InputChannelMode mode, ChannelPair custom, int channels) noexcept SONMERE_NONBLOCKING;

// Fills `stereo` with the pair's channels. Render thread.
void mapChannels(const CapturedFrames& block, ChannelPair pair, float* stereo) noexcept SONMERE_NONBLOCKING;
// The same, fading from `old` to `pair` over the block: frame i has (i + 1) / frames of the new. Render
// thread.
void crossfadeChannels(const CapturedFrames& block, ChannelPair old, ChannelPair pair,
                       float* stereo) noexcept SONMERE_NONBLOCKING;

}  // namespace sonmere
