#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace sonmere {

// What a program plays or a microphone hears: interleaved stereo at the device's rate. One thread at a time.
class SampleSource {
 public:
  virtual ~SampleSource() = default;
  // Rate in Hz of the frames from here on. A source that knows time keeps its place in seconds.
  virtual void setSampleRate(double rate) = 0;
  // Writes up to `frames` frames; fewer means that the source has ended.
  virtual std::uint32_t render(float* stereo, std::uint32_t frames) = 0;
};

using SampleSourceFactory = std::function<std::unique_ptr<SampleSource>()>;

}  // namespace sonmere
