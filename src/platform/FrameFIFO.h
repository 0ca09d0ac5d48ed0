#pragma once

#include <algorithm>
#include <array>
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

  // Writer. The same for frames of which the first is of this time, ns on the server's host clock.
  std::uint32_t write(const float* frames, std::uint32_t count, std::uint64_t hostTime) noexcept {
    const std::int64_t stamps = stampsWritten_.loadRelaxed();
    if (stamps - stampsRead_.loadAcquire() < std::int64_t(stamps_.size())) {
      stamps_[std::size_t(stamps) % stamps_.size()] = {write_.loadRelaxed(), hostTime};
      stampsWritten_.storeRelease(stamps + 1);
    }
    return write(frames, count);
  }
  // Reader. The time of the next frame that is read, at this rate in Hz; 0 when nobody told.
  std::uint64_t nextHostTime(double rate) noexcept {
    const std::int64_t position = read_.loadRelaxed();
    for (std::int64_t i = stampsRead_.loadRelaxed(); i < stampsWritten_.loadAcquire(); ++i) {
      const Stamp& stamp = stamps_[std::size_t(i) % stamps_.size()];
      if (stamp.position > position) break;
      last_ = stamp;
      stampsRead_.storeRelease(i + 1);
    }
    if (last_.hostTime == 0) return 0;
    return last_.hostTime + std::uint64_t(double(position - last_.position) / rate * 1e9);
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

  struct Stamp {
    std::int64_t position = 0;
    std::uint64_t hostTime = 0;
  };
  std::array<Stamp, 512> stamps_{};
  RTPosition stampsWritten_, stampsRead_;
  Stamp last_;  // the reader's
};

}  // namespace sonmere
