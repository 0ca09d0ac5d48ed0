#include "editor/export/WavExportWriter.h"

#include <fmt/format.h>

#include <algorithm>

#include "audio/file/SampleEncoder.h"
#include "audio/file/WavHeader.h"
#include "dsp/kernels/Kernels.h"

namespace sonmere {

namespace {

constexpr std::size_t kWriteBytes = 1 << 20;

}  // namespace

WavExportWriter::WavExportWriter(ExportFile file, const AudioFileSettings& settings, std::uint64_t frames)
    : file_(std::move(file)), settings_(settings), expectedFrames_(frames) {}

Outcome<std::unique_ptr<ExportWriter>> WavExportWriter::create(ExportFile file,
                                                               const AudioFileSettings& settings,
                                                               std::uint64_t frames) {
  std::unique_ptr<WavExportWriter> writer(new WavExportWriter(std::move(file), settings, frames));
  if (auto written = writer->file_.append(wavHeader(settings, frames)); !written)
    return std::unexpected(written.error());
  return writer;
}

Outcome<void> WavExportWriter::write(const PCMBuffer& buffer) {
  if (buffer.format() != PCMFormat{settings_.sampleRate, settings_.channels} || finalized_)
    return std::unexpected(Error{"WavExportWriter", 1,
                                 fmt::format("could not write {}: the buffer does not fit", file_.path())});
  encode(buffer);
  frames_ += buffer.frameLength();
  return pendingBytes_ < kWriteBytes ? Outcome<void>() : flush();
}

// Into what is pending; the common case by the fastest way.
void WavExportWriter::encode(const PCMBuffer& buffer) {
  const std::size_t bytes = std::size_t(buffer.frameLength()) * wavBytesPerFrame(settings_);
  if (pending_.size() < pendingBytes_ + bytes) pending_.resize(kWriteBytes + 2 * bytes);
  std::uint8_t* const end = pending_.data() + pendingBytes_;
  if (settings_.bitDepth == 16 && settings_.channels == 2) {
    kernels().int16FromStereo(buffer.channel(0), buffer.channel(1), end, buffer.frameLength());
  } else {
    encodeSamples(buffer, settings_, block_);
    std::ranges::copy(block_, end);
  }
  pendingBytes_ += bytes;
}

Outcome<void> WavExportWriter::flush() {
  auto written = file_.append(std::span(pending_).first(pendingBytes_));
  pendingBytes_ = 0;
  return written;
}

Outcome<void> WavExportWriter::finish() {
  if (finalized_) return {};
  if (auto written = flush(); !written) return written;
  constexpr std::uint8_t kPad[] = {0};
  if (frames_ * wavBytesPerFrame(settings_) % 2 != 0)
    if (auto written = file_.append(kPad); !written) return written;
  if (frames_ != expectedFrames_)
    if (auto written = file_.rewrite(0, wavHeader(settings_, frames_)); !written) return written;
  finalized_ = true;
  return file_.close();
}

}  // namespace sonmere
