#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "base/RTScalar.h"

namespace sonmere {

// A queue of interleaved frames between two threads: one writes, one reads. A full queue drops what does not
// fit.
class FrameFIFO {
 public:
  FrameFIFO(std::uint32_t channels, std::uint32_t minimumFrames)
      : channels_(channels),
        capacity_(std::bit_ceil(std::max(minimumFrames, 16u))),
        samples_(std::size_t(capacity_) * channels) {}

  // Frames. Exact on the reader's side, a lower bound on the writer's.
  std::uint32_t available() const noexcept {
    return std::uint32_t(write_.loadAcquire() - read_.loadRelaxed());
  }

  // Writer. Returns the frames that fitted.
  std::uint32_t write(const float* frames, std::uint32_t count) noexcept {
    const std::int64_t position = write_.loadRelaxed();
    const auto room = std::uint32_t(capacity_ - (position - read_.loadAcquire()));
    count = std::min(count, room);
    forEachPart(position, count, [&](std::size_t at, std::size_t from, std::size_t samples) {
      std::memcpy(samples_.data() + at, frames + from, samples * sizeof(float));
    });
    write_.storeRelease(position + count);
    return count;
  }
  // Reader. Returns the frames read.
  std::uint32_t read(float* frames, std::uint32_t count) noexcept {
    count = std::min(count, available());
    const std::int64_t position = read_.loadRelaxed();
    forEachPart(position, count, [&](std::size_t at, std::size_t to, std::size_t samples) {
      std::memcpy(frames + to, samples_.data() + at, samples * sizeof(float));
    });
    read_.storeRelease(position + count);
    return count;
  }
  // Reader.
  void skip(std::uint32_t count) noexcept {
    read_.storeRelease(read_.loadRelaxed() + std::min(count, available()));
  }

 private:
  template <class Copy>
  void forEachPart(std::int64_t position, std::uint32_t count, Copy&& copy) noexcept {
    const auto start = std::uint32_t(position & (capacity_ - 1));
    const std::uint32_t first = std::min(count, capacity_ - start);
    if (first > 0) copy(std::size_t(start) * channels_, 0, std::size_t(first) * channels_);
    if (count > first) copy(0, std::size_t(first) * channels_, std::size_t(count - first) * channels_);
  }

  std::uint32_t channels_;
  std::uint32_t capacity_;
  std::vector<float> samples_;
  RTPosition write_;
  RTPosition read_;
};

}  // namespace sonmere
