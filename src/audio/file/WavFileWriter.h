#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

#include "audio/file/AudioFileWriter.h"
#include "audio/file/OutputFile.h"
#include "audio/file/WavHeader.h"

namespace sonmere {

// Writes linear PCM as WAV, and as RF64 from 4 GiB on. After each write both the samples and a header that
// counts them are with the kernel, so the file of a killed process is complete. When a write fails midway the
// whole frames that found room stay, and the header counts these.
class WavFileWriter final : public AudioFileWriter {
 public:
  // Starts a file on an empty descriptor that is open for reading and writing.
  static Outcome<std::shared_ptr<WavFileWriter>> start(FileDescriptor file, const std::string& path,
                                                       const AudioFileSettings& settings);
  ~WavFileWriter() override;

  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return file_.path(); }
  Outcome<void> write(const PCMBuffer& buffer) override;
  void addMark(const AudioFileMark& mark) override;
  void setOrigin(const AudioFileOrigin& origin) override;
  FilePlace place() const override { return file_.place(); }
  FileSpace space() const override { return file_.space(); }
  Outcome<void> close() override;

 private:
  WavFileWriter(FileDescriptor file, const std::string& path, const AudioFileSettings& settings);

  // The sizes, and the rest where it has changed.
  Outcome<void> writeHeader();
  Outcome<void> writeSizes();
  std::vector<std::uint8_t> header() const;
  // Takes in what was marked since.
  bool takeOrigin();
  Outcome<void> complete();
  // Those that the header has no room for. Nothing is left of them where they find none.
  Outcome<void> writeMarks();
  Outcome<void> verify() const;
  std::uint64_t endOfData() const { return headerBytes_ + frames_ * bytesPerFrame_; }

  OutputFile file_;
  const AudioFileSettings settings_;
  const PCMFormat format_;
  const std::uint32_t bytesPerFrame_, headerBytes_;
  std::uint64_t frames_ = 0;
  std::vector<std::uint8_t> encoded_;
  std::uint64_t markBytes_ = 0;  // behind the samples
  WavOrigin origin_;             // as the header has it

  std::mutex marksMutex_;
  std::vector<AudioFileMark> marks_;
  std::optional<AudioFileOrigin> newOrigin_;
  bool hasNewMarks_ = false;
};

}  // namespace sonmere
