#include "editor/export/SndExportWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace sonmere {

namespace {

int fileFormat(const ExportFormat& format, RecordingBitDepth depth) {
  if (format.kind == ExportFormat::Kind::opus) return SF_FORMAT_OGG | SF_FORMAT_OPUS;
  return SF_FORMAT_FLAC | (depth == RecordingBitDepth::int16 ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24);
}

}  // namespace

Outcome<std::unique_ptr<ExportWriter>> SndExportWriter::create(ExportFile file, const ExportFormat& format,
                                                               const ExportContent& content) {
  std::unique_ptr<SndExportWriter> writer(new SndExportWriter(std::move(file), content.audio));
  if (auto begun = writer->begin(format, content); !begun) return std::unexpected(begun.error());
  return writer;
}

SndExportWriter::~SndExportWriter() {
  if (sound_) sf_close(sound_);
}

Outcome<void> SndExportWriter::begin(const ExportFormat& format, const ExportContent& content) {
  SF_VIRTUAL_IO io{&length, &seek, nullptr, &put, &tell};
  SF_INFO info{};
  info.samplerate = int(std::lround(format_.sampleRate));
  info.channels = int(format_.channels);
  info.format = fileFormat(format, content.depth);
  sound_ = sf_open_virtual(&io, SFM_WRITE, &info, this);
  if (!sound_) return failure();
  // Beyond full scale there is nothing in either.
  sf_command(sound_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
  const AudioFileTags& tags = content.tags;
  if (!tags.title.empty()) sf_set_string(sound_, SF_STR_TITLE, tags.title.c_str());
  if (!tags.date.empty()) sf_set_string(sound_, SF_STR_DATE, tags.date.c_str());
  return {};
}

sf_count_t SndExportWriter::length(void* self) {
  return sf_count_t(static_cast<SndExportWriter*>(self)->file_.size());
}

sf_count_t SndExportWriter::seek(sf_count_t offset, int whence, void* self) {
  auto& writer = *static_cast<SndExportWriter*>(self);
  const sf_count_t base = whence == SEEK_SET   ? 0
                          : whence == SEEK_CUR ? sf_count_t(writer.position_)
                                               : sf_count_t(writer.file_.size());
  writer.position_ = std::uint64_t(std::max<sf_count_t>(0, base + offset));
  return sf_count_t(writer.position_);
}

sf_count_t SndExportWriter::tell(void* self) {
  return sf_count_t(static_cast<SndExportWriter*>(self)->position_);
}

sf_count_t SndExportWriter::put(const void* bytes, sf_count_t count, void* self) {
  auto& writer = *static_cast<SndExportWriter*>(self);
  const auto stored =
      writer.store({static_cast<const std::uint8_t*>(bytes), std::size_t(std::max<sf_count_t>(0, count))});
  if (stored) return count;
  if (!writer.error_) writer.error_ = stored.error();
  return 0;
}

// The library goes back only to complete what it has written at the beginning.
Outcome<void> SndExportWriter::store(std::span<const std::uint8_t> bytes) {
  const std::uint64_t known =
      std::min<std::uint64_t>(bytes.size(), file_.size() - std::min(position_, file_.size()));
  if (known > 0 && !file_.isStream())
    if (auto written = file_.rewrite(position_, bytes.first(known)); !written) return written;
  if (known < bytes.size())
    if (auto written = file_.append(bytes.subspan(known)); !written) return written;
  position_ += bytes.size();
  return {};
}

std::unexpected<Error> SndExportWriter::failure() const {
  if (error_) return std::unexpected(*error_);
  return std::unexpected(
      Error{"SndExportWriter", 1, fmt::format("could not write {}: {}", file_.path(), sf_strerror(sound_))});
}

Outcome<void> SndExportWriter::write(const PCMBuffer& buffer) {
  if (buffer.format() != format_ || finalized_)
    return std::unexpected(Error{"SndExportWriter", 2,
                                 fmt::format("could not write {}: the buffer does not fit", file_.path())});
  const std::uint32_t channels = format_.channels, frames = buffer.frameLength();
  interleaved_.resize(std::size_t(frames) * channels);
  for (std::uint32_t channel = 0; channel < channels; ++channel)
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
      const float sample = buffer.channel(channel)[frame];
      interleaved_[std::size_t(frame) * channels + channel] =
          std::isnan(sample) ? 0.0f : std::clamp(sample, -1.0f, 1.0f);
    }
  if (sf_writef_float(sound_, interleaved_.data(), frames) == sf_count_t(frames) && !error_) return {};
  return failure();
}

Outcome<void> SndExportWriter::finish() {
  if (finalized_) return {};
  finalized_ = true;
  const int closed = sf_close(sound_);
  sound_ = nullptr;
  if (closed != 0 || error_) return failure();
  return file_.close();
}

}  // namespace sonmere
