#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "audio/file/AudioFileWriter.h"

namespace sonmere {

// Keeps what is written to it in memory, the latest of it, until there is a file: then that begins with as
// much of what was kept as is wanted, and goes on with what comes. The memory is given back then. Threads as
// of AudioFileWriter, except where said.
class PrerollWriter final : public AudioFileWriter {
 public:
  // Takes all its memory at once, as 16-bit integers or as floats; throws std::bad_alloc.
  PrerollWriter(std::string path, const AudioFileSettings& settings, double seconds);

  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return path_; }
  Outcome<void> write(const PCMBuffer& buffer) override;
  void addMark(const AudioFileMark& mark) override;
  void setOrigin(const AudioFileOrigin& origin) override;
  FilePlace place() const override;
  FileSpace space() const override;
  Outcome<void> close() override;

  std::uint64_t bytes() const;
  // Frames that came so far, and the first of them that is still there. Threads: any.
  std::int64_t frames() const;
  std::int64_t firstKept() const;

  // From the frame `first` on, which may come yet, all goes into this file, whose frame 0 that is. Once only.
  // Threads: any.
  void begin(std::shared_ptr<AudioFileWriter> file, std::int64_t first);
  // Writes what is kept from a frame up to another into a file; what is gone meanwhile is left out. Threads:
  // any, also while it is written to.
  Outcome<void> copy(AudioFileWriter& file, std::int64_t from, std::int64_t until) const;

 private:
  std::shared_ptr<AudioFileWriter> file() const;
  // With the lock held.
  void keep(const PCMBuffer& buffer);
  void fetch(PCMBuffer& block, std::int64_t from, std::uint32_t frames) const;
  std::int64_t oldest() const { return std::max<std::int64_t>(0, frames_ - capacity_); }

  Outcome<void> writeKept(AudioFileWriter& file);
  Outcome<void> writeFrom(AudioFileWriter& file, const PCMBuffer& buffer, std::uint32_t from);

  const std::string path_;
  const PCMFormat format_;
  const std::int64_t capacity_;  // frames
  const bool isShort_;

  mutable std::mutex mutex_;
  std::vector<std::int16_t> shorts_;  // interleaved rings
  std::vector<float> floats_;
  std::int64_t frames_ = 0;
  std::shared_ptr<AudioFileWriter> file_;
  std::int64_t first_ = 0;

  bool hasWrittenKept_ = false;  // the writer's
};

}  // namespace sonmere
