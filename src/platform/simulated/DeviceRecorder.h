#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace sonmere {

// An ear on one side of a device: everything that passes there, with a running hash. It stays with the UID
// over unplugging and restarts and keeps its device running. Threads: any.
class DeviceRecorder {
 public:
  enum class Keep { samples, hashOnly };

  DeviceRecorder(std::string uid, bool isInput, Keep keep)
      : uid_(std::move(uid)), isInput_(isInput), keep_(keep) {}

  const std::string& uid() const { return uid_; }
  bool isInput() const { return isInput_; }

  // The device's cycle.
  void append(const float* interleaved, std::uint32_t frames, std::uint32_t channels);

  std::uint64_t frameCount() const;
  // Of every bit heard, in order.
  std::uint64_t hash() const;
  // Largest magnitude heard, since the last call.
  float takePeak();
  std::uint32_t channels() const;
  // Interleaved; nothing with Keep::hashOnly.
  std::vector<float> samples() const;
  // Those that were not taken yet, which it forgets.
  std::vector<float> takeSamples();
  // Only from `frame` on.
  std::vector<float> samplesFrom(std::uint64_t frame) const;

 private:
  const std::string uid_;
  const bool isInput_;
  const Keep keep_;
  mutable std::mutex mutex_;
  std::uint64_t frames_ = 0;
  std::uint64_t hash_ = 0xCBF29CE484222325u;
  float peak_ = 0;
  std::uint32_t channels_ = 0;
  std::vector<float> samples_;
};

}  // namespace sonmere
