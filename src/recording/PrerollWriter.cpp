#include "recording/PrerollWriter.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace sonmere {

namespace {

constexpr std::uint32_t kPieceFrames = 4096;
// Comes while what is kept is being copied.
constexpr double kSpareSeconds = 2;

bool isShort(const AudioFileSettings& settings) {
  return settings.encoding == AudioFileSettings::Encoding::linearPCM && settings.bitDepth == 16;
}

std::int64_t capacityFor(const AudioFileSettings& settings, double seconds) {
  return std::llround((seconds + kSpareSeconds) * settings.sampleRate);
}

std::int16_t toShort(float sample) {
  return std::int16_t(std::lround(std::clamp(sample * 32768.0f, -32768.0f, 32767.0f)));
}

}  // namespace

PrerollWriter::PrerollWriter(std::string path, const AudioFileSettings& settings, double seconds)
    : path_(std::move(path)),
      format_{settings.sampleRate, settings.channels},
      capacity_(capacityFor(settings, seconds)),
      isShort_(isShort(settings)) {
  const auto samples = std::size_t(capacity_) * format_.channels;
  isShort_ ? shorts_.resize(samples) : floats_.resize(samples);
}

void PrerollWriter::keep(const PCMBuffer& buffer) {
  const std::size_t channels = format_.channels;
  for (std::uint32_t i = 0; i < buffer.frameLength(); ++i) {
    const std::size_t at = std::size_t((frames_ + i) % capacity_) * channels;
    for (std::uint32_t c = 0; c < channels; ++c)
      isShort_ ? void(shorts_[at + c] = toShort(buffer.channel(c)[i]))
               : void(floats_[at + c] = buffer.channel(c)[i]);
  }
}

void PrerollWriter::fetch(PCMBuffer& block, std::int64_t from, std::uint32_t frames) const {
  const std::size_t channels = format_.channels;
  block.setFrameLength(frames);
  for (std::uint32_t i = 0; i < frames; ++i) {
    const std::size_t at = std::size_t((from + i) % capacity_) * channels;
    for (std::uint32_t c = 0; c < channels; ++c)
      block.channel(c)[i] = isShort_ ? float(shorts_[at + c]) / 32768.0f : floats_[at + c];
  }
}

Outcome<void> PrerollWriter::write(const PCMBuffer& buffer) {
  std::shared_ptr<AudioFileWriter> file;
  std::int64_t skipped = 0;
  {
    const std::lock_guard lock(mutex_);
    file = file_;
    if (!file) keep(buffer);
    skipped = std::clamp<std::int64_t>(first_ - frames_, 0, buffer.frameLength());
    frames_ += file && !hasWrittenKept_ ? 0 : buffer.frameLength();
  }
  if (!file) return {};
  if (!std::exchange(hasWrittenKept_, true)) {
    if (auto written = writeKept(*file); !written) return written;
    const std::lock_guard lock(mutex_);
    frames_ += buffer.frameLength();
  }
  return skipped == 0 ? file->write(buffer) : writeFrom(*file, buffer, std::uint32_t(skipped));
}

// Nobody else changes what is kept any more.
Outcome<void> PrerollWriter::writeKept(AudioFileWriter& file) {
  if (auto copied = copy(file, first_, frames_); !copied) return copied;
  const std::lock_guard lock(mutex_);
  shorts_ = {};
  floats_ = {};
  return {};
}

Outcome<void> PrerollWriter::writeFrom(AudioFileWriter& file, const PCMBuffer& buffer, std::uint32_t from) {
  const std::uint32_t frames = buffer.frameLength() - from;
  if (frames == 0) return {};
  PCMBuffer rest(format_, frames);
  rest.setFrameLength(frames);
  for (std::uint32_t c = 0; c < format_.channels; ++c)
    std::copy_n(buffer.channel(c) + from, frames, rest.channel(c));
  return file.write(rest);
}

Outcome<void> PrerollWriter::copy(AudioFileWriter& file, std::int64_t from, std::int64_t until) const {
  PCMBuffer piece(format_, kPieceFrames);
  while (from < until) {
    {
      const std::lock_guard lock(mutex_);
      from = std::max(from, oldest());
      const bool isThere = !shorts_.empty() || !floats_.empty();
      const std::int64_t left = isThere ? std::min(until, frames_) - from : 0;
      if (left <= 0) return {};
      fetch(piece, from, std::uint32_t(std::min<std::int64_t>(left, kPieceFrames)));
    }
    if (auto written = file.write(piece); !written) return written;
    from += piece.frameLength();
  }
  return {};
}

void PrerollWriter::begin(std::shared_ptr<AudioFileWriter> file, std::int64_t first) {
  const std::lock_guard lock(mutex_);
  file_ = std::move(file);
  first_ = std::max(first, oldest());
}

std::shared_ptr<AudioFileWriter> PrerollWriter::file() const {
  const std::lock_guard lock(mutex_);
  return file_;
}

std::uint64_t PrerollWriter::bytes() const {
  return std::uint64_t(capacity_) * format_.channels * (isShort_ ? 2 : 4);
}

std::int64_t PrerollWriter::frames() const {
  const std::lock_guard lock(mutex_);
  return frames_;
}

std::int64_t PrerollWriter::firstKept() const {
  const std::lock_guard lock(mutex_);
  return oldest();
}

void PrerollWriter::addMark(const AudioFileMark& mark) {
  if (const auto to = file()) to->addMark(mark);
}

void PrerollWriter::setOrigin(const AudioFileOrigin& origin) {
  if (const auto to = file()) to->setOrigin(origin);
}

FilePlace PrerollWriter::place() const {
  const auto to = file();
  return to ? to->place() : FilePlace{FilePlace::Kind::there, path_};
}

FileSpace PrerollWriter::space() const {
  const auto to = file();
  return to ? to->space() : FileSpace{};
}

Outcome<void> PrerollWriter::close() {
  const auto to = file();
  if (!to) return {};
  // Where nothing came behind the beginning, what is kept is all there is.
  if (!std::exchange(hasWrittenKept_, true))
    if (auto written = writeKept(*to); !written) return written;
  return to->close();
}

}  // namespace sonmere
