#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "platform/simulated/SampleSource.h"

namespace sonmere {

// What one process plays at the moment. Changed on the control side only while no device cycle runs; rendered
// by the cycle of the device that the process plays on.
class AppVoice {
 public:
  // `onEnded` is called once by the cycle in which the source ended; it must only post.
  AppVoice(std::unique_ptr<SampleSource> source, std::function<void()> onEnded)
      : source_(std::move(source)), onEnded_(std::move(onEnded)) {}

  void setSampleRate(double rate) {
    if (rate == sampleRate_) return;
    sampleRate_ = rate;
    source_->setSampleRate(rate);
  }
  // Fills all `frames`; silence after the end.
  void render(float* stereo, std::uint32_t frames);

 private:
  std::unique_ptr<SampleSource> source_;
  std::function<void()> onEnded_;
  double sampleRate_ = 0;
  bool ended_ = false;
};

}  // namespace sonmere
