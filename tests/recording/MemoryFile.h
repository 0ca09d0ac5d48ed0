#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "audio/file/AudioFileWriter.h"

namespace sonmere {

// A file in memory that can be slow, hang or fail. Its owner keeps it to look at it afterwards.
class MemoryFile final : public AudioFileWriter {
 public:
  MemoryFile(std::string path, const AudioFileSettings& asked)
      : settings(asked), path_(std::move(path)), format_{asked.sampleRate, asked.channels} {}

  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return path_; }

  Outcome<void> write(const PCMBuffer& buffer) override {
    if (beforeWrite) beforeWrite(++writes);
    if (auto error = std::exchange(nextError, std::nullopt)) return std::unexpected(*error);
    const std::lock_guard lock(mutex_);
    if (isClosed_) return std::unexpected(Error{"MemoryFile", 1, "the file is closed"});
    for (std::uint32_t i = 0; i < buffer.frameLength(); ++i)
      for (std::uint32_t c = 0; c < format_.channels; ++c) samples_.push_back(buffer.channel(c)[i]);
    return {};
  }
  Outcome<void> close() override {
    const std::lock_guard lock(mutex_);
    isClosed_ = true;
    if (closeError) return std::unexpected(*closeError);
    return {};
  }

  // Interleaved.
  std::vector<float> samples() const {
    const std::lock_guard lock(mutex_);
    return samples_;
  }
  std::int64_t frames() const {
    const std::lock_guard lock(mutex_);
    return std::int64_t(samples_.size() / format_.channels);
  }
  bool isClosed() const {
    const std::lock_guard lock(mutex_);
    return isClosed_;
  }

  const AudioFileSettings settings;
  std::function<void(int write)> beforeWrite;  // on the writing thread
  std::optional<Error> nextError;              // of the next write; beforeWrite may set it
  std::optional<Error> closeError;
  int writes = 0;

 private:
  const std::string path_;
  const PCMFormat format_;
  mutable std::mutex mutex_;
  std::vector<float> samples_;
  bool isClosed_ = false;
};

}  // namespace sonmere
