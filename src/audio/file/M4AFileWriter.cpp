#include "audio/file/M4AFileWriter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "audio/file/WriterError.h"

namespace sonmere {

namespace {

// A kill costs up to a fragment, and about three packets: one being filled, two inside the encoder.
constexpr double kFragmentSeconds = 0.11;

std::uint32_t packetsIn(double seconds, double sampleRate) {
  return std::max(1u, std::uint32_t(seconds * sampleRate / kAACPacketFrames));
}

// The encoder refuses what is not finite.
float encodable(float sample) { return std::isnan(sample) ? 0.0f : std::clamp(sample, -1.0f, 1.0f); }

}  // namespace

M4AFileWriter::M4AFileWriter(FileDescriptor file, const std::string& path, const AudioFileSettings& settings,
                             std::unique_ptr<AACEncoder> encoder)
    : file_(std::move(file), path),
      format_{settings.sampleRate, settings.channels},
      encoder_(std::move(encoder)),
      handler_([this](std::span<const std::uint8_t> packet) { takePacket(packet); }),
      packetsPerFragment_(packetsIn(kFragmentSeconds, settings.sampleRate)),
      block_(format_, kAACPacketFrames) {
  stream_.sampleRate = std::uint32_t(std::llround(settings.sampleRate));
  stream_.channels = settings.channels;
  stream_.bitRate = std::uint32_t(settings.bitRate);
  stream_.encoderDelay = encoder_->encoderDelay();
  stream_.configuration = encoder_->configuration();
}

M4AFileWriter::~M4AFileWriter() {
  if (file_.isOpen()) (void)close();
}

Outcome<std::shared_ptr<M4AFileWriter>> M4AFileWriter::start(FileDescriptor file, const std::string& path,
                                                             const AudioFileSettings& settings,
                                                             std::unique_ptr<AACEncoder> encoder) {
  std::shared_ptr<M4AFileWriter> writer(
      new M4AFileWriter(std::move(file), path, settings, std::move(encoder)));
  const auto header = m4aHeader(writer->stream_, writer->freeOffset_);
  if (auto written = writer->file_.writeAt(header, 0); !written) {
    writer->file_.abandon();
    return std::unexpected(written.error());
  }
  writer->end_ = header.size();
  return writer;
}

Outcome<void> M4AFileWriter::write(const PCMBuffer& buffer) {
  if (auto checked = checkBuffer(buffer, format_, file_); !checked) return checked;
  if (failure_) return std::unexpected(*failure_);
  auto appended = append(buffer);
  if (!appended) failure_ = appended.error();
  return appended;
}

Outcome<void> M4AFileWriter::append(const PCMBuffer& buffer) {
  for (std::uint32_t done = 0; done < buffer.frameLength();) {
    done += fillBlock(buffer, done);
    if (block_.frameLength() < kAACPacketFrames) break;
    if (auto encoded = encodeBlock(); !encoded) return encoded;
    if (pendingSizes_.size() < packetsPerFragment_) continue;
    if (auto written = writeFragment(); !written) return written;
  }
  return {};
}

std::uint32_t M4AFileWriter::fillBlock(const PCMBuffer& buffer, std::uint32_t first) {
  const std::uint32_t at = block_.frameLength();
  const std::uint32_t count = std::min(buffer.frameLength() - first, kAACPacketFrames - at);
  for (std::uint32_t channel = 0; channel < format_.channels; ++channel) {
    const float* const from = buffer.channel(channel) + first;
    std::transform(from, from + count, block_.channel(channel) + at, encodable);
  }
  block_.setFrameLength(at + count);
  frames_ += count;
  return count;
}

Outcome<void> M4AFileWriter::encodeBlock() {
  const float* planes[2] = {block_.channel(0), format_.channels > 1 ? block_.channel(1) : nullptr};
  auto encoded = encoder_->encode(planes, block_.frameLength(), handler_);
  block_.setFrameLength(0);
  if (encoded) return encoded;
  return std::unexpected(Error{encoded.error().domain, encoded.error().code,
                               fmt::format("could not write {}: {}", path(), encoded.error().description)});
}

void M4AFileWriter::takePacket(std::span<const std::uint8_t> packet) {
  pending_.insert(pending_.end(), packet.begin(), packet.end());
  pendingSizes_.push_back(std::uint32_t(packet.size()));
}

Outcome<void> M4AFileWriter::writeFragment() {
  if (pendingSizes_.empty()) return {};
  fragment_ = m4aFragmentHeader(std::uint32_t(chunks_.size() + 1),
                                packetSizes_.size() * std::uint64_t(kAACPacketFrames), pendingSizes_);
  const std::size_t headerBytes = fragment_.size();
  fragment_.insert(fragment_.end(), pending_.begin(), pending_.end());
  if (auto written = file_.writeAt(fragment_, end_); !written) {
    // A part of a fragment is of no use to a reader.
    (void)file_.truncate(end_);
    return written;
  }
  chunks_.push_back({end_ + headerBytes, std::uint32_t(pendingSizes_.size())});
  packetSizes_.insert(packetSizes_.end(), pendingSizes_.begin(), pendingSizes_.end());
  end_ += fragment_.size();
  pending_.clear();
  pendingSizes_.clear();
  return {};
}

Outcome<void> M4AFileWriter::close() {
  if (!file_.isOpen()) return {};
  auto result = complete();
  auto closed = file_.close();
  return result ? closed : result;
}

Outcome<void> M4AFileWriter::complete() {
  // An index must not point at what somebody else has cut off.
  if (auto whole = file_.checkSize(end_); !whole) return whole;
  auto rest = encodeRest();
  auto written = writeFragment();
  auto made = makeOrdinary();
  if (!made) return made;
  return rest ? written : rest;
}

Outcome<void> M4AFileWriter::encodeRest() {
  if (failure_ || frames_ == 0) return {};
  if (block_.frameLength() > 0) {
    if (auto encoded = encodeBlock(); !encoded) return encoded;
  }
  if (auto finished = encoder_->finish(handler_); !finished) return finished;
  // The encoder may have filled up with packets of silence.
  const std::uint64_t needed = (stream_.encoderDelay + frames_ + kAACPacketFrames - 1) / kAACPacketFrames;
  while (!pendingSizes_.empty() && packetSizes_.size() + pendingSizes_.size() > needed) {
    pending_.erase(pending_.end() - pendingSizes_.back(), pending_.end());
    pendingSizes_.pop_back();
  }
  return {};
}

Outcome<void> M4AFileWriter::makeOrdinary() {
  const auto index = m4aIndex(stream_, storedFrames(), packetSizes_, chunks_);
  if (auto appended = appendIndex(index); !appended) {
    (void)file_.truncate(end_);
    (void)file_.sync();
    return appended;
  }
  // From here on both forms are in the file. These 16 bytes make it the one or the other.
  if (auto flipped = file_.writeAt(m4aDataHeader(end_ - freeOffset_), freeOffset_); !flipped) return flipped;
  return file_.sync();
}

Outcome<void> M4AFileWriter::appendIndex(std::span<const std::uint8_t> index) {
  if (auto written = file_.writeAt(index, end_); !written) return written;
  if (auto synced = file_.sync(); !synced) return synced;
  return file_.checkSize(end_ + index.size());
}

std::uint64_t M4AFileWriter::storedFrames() const {
  const std::uint64_t decoded = packetSizes_.size() * std::uint64_t(kAACPacketFrames);
  return std::min(frames_, decoded - std::min<std::uint64_t>(decoded, stream_.encoderDelay));
}

}  // namespace sonmere
