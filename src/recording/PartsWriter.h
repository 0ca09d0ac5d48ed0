#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "audio/file/AudioFileWriter.h"

namespace sonmere {

// A recording in parts: files of equal length, of which each begins with the frame behind the last one of the
// one before. To whoever writes it is one file, whose frames count through. Threads as of AudioFileWriter.
class PartsWriter final : public AudioFileWriter {
 public:
  // Makes the file of a part, from 1 on.
  using MakePart = std::function<Outcome<std::shared_ptr<AudioFileWriter>>(int part)>;

  // Makes the first one. `partFrames` is at least 1.
  static Outcome<std::shared_ptr<AudioFileWriter>> create(MakePart makePart, std::int64_t partFrames);

  const PCMFormat& processingFormat() const override { return format_; }
  // That of the part which is written.
  const std::string& path() const override { return file_->path(); }
  Outcome<void> write(const PCMBuffer& buffer) override;
  void addMark(const AudioFileMark& mark) override;
  void setOrigin(const AudioFileOrigin& origin) override;
  FilePlace place() const override { return file_->place(); }
  FileSpace space() const override;
  Outcome<void> close() override { return file_->close(); }

 private:
  PartsWriter(MakePart makePart, std::int64_t partFrames, std::shared_ptr<AudioFileWriter> first);

  Outcome<void> writePiece(const PCMBuffer& buffer, std::uint32_t from, std::uint32_t frames);
  Outcome<void> beginNextPart();
  std::shared_ptr<AudioFileWriter> exchangeFile(std::shared_ptr<AudioFileWriter> next);
  // What was said of the part that is written, with the lock held.
  void hand(const AudioFileMark& mark);

  const MakePart makePart_;
  const std::int64_t partFrames_;
  const PCMFormat format_;
  std::shared_ptr<AudioFileWriter> file_;  // replaced with the lock held
  int part_ = 1;
  std::int64_t inPart_ = 0;  // frames
  std::vector<std::string> earlier_;
  std::uint64_t earlierBytes_ = 0;

  std::mutex mutex_;
  std::int64_t begin_ = 0;            // of the part, in frames of the whole
  std::vector<AudioFileMark> ahead_;  // of parts that come
  std::optional<AudioFileOrigin> origin_;
};

}  // namespace sonmere
