#pragma once

#include "audio/file/M4AFileWriter.h"
#include "editor/export/ExportWriter.h"

namespace sonmere {

// Writes an export as AAC in M4A: two channels have 192 kb/s, as recordings do, and one has half of that. The
// index is made at the end and points back, so that it takes a file.
class M4AExportWriter final : public ExportWriter {
 public:
  static Outcome<std::unique_ptr<ExportWriter>> create(ExportFile file, const ExportContent& content);

  Outcome<void> write(const PCMBuffer& buffer) override { return writer_->write(buffer); }
  Outcome<void> finish() override { return writer_->close(); }

 private:
  explicit M4AExportWriter(std::shared_ptr<M4AFileWriter> writer) : writer_(std::move(writer)) {}

  const std::shared_ptr<M4AFileWriter> writer_;
};

}  // namespace sonmere
