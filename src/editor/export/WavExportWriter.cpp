#include "editor/export/WavExportWriter.h"

#include <fmt/format.h>
#include <unistd.h>

#include "audio/file/SampleEncoder.h"
#include "audio/file/WavHeader.h"
#include "dsp/kernels/SampleKernels.h"

namespace sonmere {

namespace {

constexpr std::size_t kWriteBytes = 256 << 10;

}  // namespace

WavExportWriter::WavExportWriter(ExportFile file, const AudioFileSettings& settings)
    : file_(std::move(file)), settings_(settings) {
  pending_.reserve(2 * kWriteBytes);
}

Outcome<std::unique_ptr<ExportWriter>> WavExportWriter::create(const std::string& destination,
                                                               const AudioFileSettings& settings) {
  auto file = ExportFile::create(destination);
  if (!file) return std::unexpected(file.error());
  std::unique_ptr<WavExportWriter> writer(new WavExportWriter(std::move(*file), settings));
  if (auto written = writer->file_.append(wavHeader(settings, 0)); !written) {
    ::unlink(destination.c_str());
    return std::unexpected(written.error());
  }
  return writer;
}

Outcome<void> WavExportWriter::write(const PCMBuffer& buffer) {
  if (buffer.format() != PCMFormat{settings_.sampleRate, settings_.channels} || finalized_)
    return std::unexpected(Error{"WavExportWriter", 1,
                                 fmt::format("could not write {}: the buffer does not fit", file_.path())});
  encode(buffer);
  frames_ += buffer.frameLength();
  return pending_.size() < kWriteBytes ? Outcome<void>() : flush();
}

// Into what is pending; the common case by the fastest way.
void WavExportWriter::encode(const PCMBuffer& buffer) {
  if (settings_.bitDepth == 16 && settings_.channels == 2) {
    const std::size_t end = pending_.size();
    pending_.resize(end + std::size_t(buffer.frameLength()) * wavBytesPerFrame(settings_));
    int16FromStereo(buffer.channel(0), buffer.channel(1), pending_.data() + end, buffer.frameLength());
  } else {
    encodeSamples(buffer, settings_, block_);
    pending_.insert(pending_.end(), block_.begin(), block_.end());
  }
}

Outcome<void> WavExportWriter::flush() {
  auto written = file_.append(pending_);
  pending_.clear();
  return written;
}

Outcome<void> WavExportWriter::finish() {
  if (finalized_) return {};
  if (frames_ * wavBytesPerFrame(settings_) % 2 != 0) pending_.push_back(0);
  if (auto written = flush(); !written) return written;
  if (auto written = file_.rewrite(0, wavHeader(settings_, frames_)); !written) return written;
  finalized_ = true;
  return file_.close();
}

}  // namespace sonmere
