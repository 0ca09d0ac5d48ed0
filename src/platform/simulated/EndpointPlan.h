#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// What of an endpoint outlives its plans; touched by its cycle, or on the control side while no cycle runs.
struct EndpointState {
  double sampleTime = 0;
  std::vector<float> lastMix;   // the previous block that was played, for readers inside the cycle
  std::vector<float> ownBlock;  // what this program played in the previous block, stereo
};

// The work of one endpoint's cycle as a list of steps over blocks that the plan owns. Built on the control
// side, replaced as a whole, run by one device cycle; a run allocates nothing.
struct EndpointPlan {
  using Step = std::function<void(const AudioTimeStamp& now)>;

  std::uint32_t frames = 0;
  std::uint32_t outputChannels = 0;
  std::uint32_t inputChannels = 0;
  double sampleRate = 48000;
  std::shared_ptr<EndpointState> state;
  std::vector<float> mix;    // what the output side plays
  std::vector<float> input;  // what the input side delivers, unless it is the mix
  // Where the input lies once the output is played, and while it is being played: on a device that loops
  // back these are the block just played and the one before.
  const float* inputBlock = nullptr;
  const float* earlyInputBlock = nullptr;
  // What other programs read there.
  const float* othersInputBlock = nullptr;
  std::vector<Step> steps;

  // A zeroed block that lives as long as the plan.
  float* newBlock(std::size_t samples) { return blocks_.emplace_back(samples).data(); }

  void run(std::uint64_t hostTime) {
    const AudioTimeStamp now{state->sampleTime, hostTime};
    for (const Step& step : steps) step(now);
    state->sampleTime += frames;
  }

 private:
  std::deque<std::vector<float>> blocks_;
};

}  // namespace sonmere
