#include "editor/export/MP3ExportWriter.h"

#include <fmt/format.h>

#include <algorithm>

namespace sonmere {

namespace {

std::unexpected<Error> writeFailed(const Error& error) {
  return mp3Failure(MP3EncoderError::writeFailed, "Writing MP3 bytes failed: " + error.description);
}

}  // namespace

MP3ExportWriter::MP3ExportWriter(ExportFile file, std::unique_ptr<MP3Encoder> encoder,
                                 const PCMFormat& format)
    : file_(std::move(file)), encoder_(std::move(encoder)), format_(format) {}

Outcome<std::unique_ptr<ExportWriter>> MP3ExportWriter::create(ExportFile file, const PCMFormat& format,
                                                               MP3Bitrate bitrate) {
  auto encoder = MP3Encoder::create(format, bitrate,
                                    file.isStream() ? MP3Encoder::Head::none : MP3Encoder::Head::infoFrame);
  if (!encoder) return std::unexpected(encoder.error());
  return std::unique_ptr<ExportWriter>(new MP3ExportWriter(std::move(file), std::move(*encoder), format));
}

Outcome<void> MP3ExportWriter::write(const PCMBuffer& buffer) {
  if (buffer.format() != format_ || finalized_)
    return mp3Failure(MP3EncoderError::unsupportedFormat,
                      fmt::format("could not write {}: the buffer does not fit", file_.path()));
  for (std::uint32_t from = 0; from < buffer.frameLength(); from += MP3Encoder::kMostFrames) {
    const std::uint32_t frames = std::min(buffer.frameLength() - from, MP3Encoder::kMostFrames);
    if (auto stored = store(encoder_->encode(buffer, from, frames)); !stored) return stored;
  }
  return {};
}

Outcome<void> MP3ExportWriter::store(const Outcome<std::span<const std::uint8_t>>& encoded) {
  if (!encoded) return std::unexpected(encoded.error());
  if (auto written = file_.append(*encoded); !written) return writeFailed(written.error());
  return {};
}

Outcome<void> MP3ExportWriter::writeHead() {
  const auto info = encoder_->infoFrame();
  if (info.size() > file_.size()) return {};
  if (auto written = file_.rewrite(0, info); !written) return writeFailed(written.error());
  return {};
}

Outcome<void> MP3ExportWriter::finish() {
  if (finalized_) return {};
  if (auto stored = store(encoder_->flush()); !stored) return stored;
  if (auto written = writeHead(); !written) return written;
  finalized_ = true;
  return file_.close();
}

}  // namespace sonmere
