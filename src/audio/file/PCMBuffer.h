#pragma once

#include <cstdint>
#include <memory>

#include "base/AlignedVector.h"

namespace sonmere {

// Deinterleaved float32 at a rate: the form in which blocks travel to and from files.
struct PCMFormat {
  double sampleRate = 0;  // Hz
  std::uint32_t channels = 0;
  bool operator==(const PCMFormat&) const = default;
};

// A block of planes of equal capacity, zeroed at first. Threads: one at a time.
class PCMBuffer {
 public:
  PCMBuffer(const PCMFormat& format, std::uint32_t frameCapacity)
      : format_(format),
        frameCapacity_(frameCapacity),
        samples_(std::size_t(frameCapacity) * format.channels) {}

  const PCMFormat& format() const { return format_; }
  std::uint32_t frameCapacity() const { return frameCapacity_; }
  std::uint32_t frameLength() const { return frameLength_; }
  // At most the capacity.
  void setFrameLength(std::uint32_t frames) {
    frameLength_ = frames < frameCapacity_ ? frames : frameCapacity_;
  }

  float* channel(std::uint32_t index) { return samples_.data() + std::size_t(index) * frameCapacity_; }
  const float* channel(std::uint32_t index) const {
    return samples_.data() + std::size_t(index) * frameCapacity_;
  }

 private:
  PCMFormat format_;
  std::uint32_t frameCapacity_;
  std::uint32_t frameLength_ = 0;
  AlignedVector<float> samples_;
};

}  // namespace sonmere
