#pragma once

#include <vector>

#include "audio/file/AudioFileSettings.h"
#include "base/AlignedVector.h"
#include "editor/export/ExportFile.h"
#include "editor/export/ExportWriter.h"

namespace sonmere {

// Writes an export as WAV, and as RF64 from 4 GiB on. Unlike a recording's, its header counts frames that are
// still to come: a file that is not finished is thrown away.
class WavExportWriter final : public ExportWriter {
 public:
  // `frames` is what is expected: a stream's header can't be changed.
  static Outcome<std::unique_ptr<ExportWriter>> create(ExportFile file, const AudioFileSettings& settings,
                                                       std::uint64_t frames);

  Outcome<void> write(const PCMBuffer& buffer) override;
  Outcome<void> finish() override;

 private:
  WavExportWriter(ExportFile file, const AudioFileSettings& settings, std::uint64_t frames);

  void encode(const PCMBuffer& buffer);
  Outcome<void> flush();

  ExportFile file_;
  const AudioFileSettings settings_;
  const std::uint64_t expectedFrames_;
  std::uint64_t frames_ = 0;
  bool finalized_ = false;
  std::vector<std::uint8_t> block_;  // of one buffer
  AlignedVector<std::uint8_t> pending_;
  std::size_t pendingBytes_ = 0;  // of it that are to be written next
};

}  // namespace sonmere
