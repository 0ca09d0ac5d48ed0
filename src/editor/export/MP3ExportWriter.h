#pragma once

#include "editor/export/ExportFile.h"
#include "editor/export/ExportWriter.h"
#include "editor/export/MP3Encoder.h"

namespace sonmere {

// Writes an export as MP3, without tags; where the file can be gone back in, with an Info frame, by which
// players leave out the encoder's silence at both ends.
class MP3ExportWriter final : public ExportWriter {
 public:
  static Outcome<std::unique_ptr<ExportWriter>> create(ExportFile file, const PCMFormat& format,
                                                       MP3Bitrate bitrate);

  Outcome<void> write(const PCMBuffer& buffer) override;
  Outcome<void> finish() override;

 private:
  MP3ExportWriter(ExportFile file, std::unique_ptr<MP3Encoder> encoder, const PCMFormat& format);

  Outcome<void> writeHead();
  Outcome<void> store(const Outcome<std::span<const std::uint8_t>>& encoded);

  ExportFile file_;
  const std::unique_ptr<MP3Encoder> encoder_;
  const PCMFormat format_;
  bool finalized_ = false;
};

}  // namespace sonmere
