#pragma once

#include <sndfile.h>

#include "editor/export/ExportWriter.h"

namespace sonmere {

// Writes an export as FLAC, without loss in 16 or 24 bits, or as Opus in Ogg. In a stream FLAC does not tell
// its length.
class SndExportWriter final : public ExportWriter {
 public:
  static Outcome<std::unique_ptr<ExportWriter>> create(ExportFile file, const ExportFormat& format,
                                                       const ExportContent& content);
  ~SndExportWriter() override;

  Outcome<void> write(const PCMBuffer& buffer) override;
  Outcome<void> finish() override;

 private:
  SndExportWriter(ExportFile file, const PCMFormat& audio) : file_(std::move(file)), format_(audio) {}

  Outcome<void> begin(const ExportFormat& format, const ExportContent& content);
  static sf_count_t length(void* self);
  static sf_count_t seek(sf_count_t offset, int whence, void* self);
  static sf_count_t tell(void* self);
  static sf_count_t put(const void* bytes, sf_count_t count, void* self);
  Outcome<void> store(std::span<const std::uint8_t> bytes);
  // What the library ran into: the file's error where it is that.
  std::unexpected<Error> failure() const;

  ExportFile file_;
  const PCMFormat format_;
  SNDFILE* sound_ = nullptr;
  std::uint64_t position_ = 0;  // where the library writes next
  std::optional<Error> error_;  // the file's, the first
  std::vector<float> interleaved_;
  bool finalized_ = false;
};

}  // namespace sonmere
