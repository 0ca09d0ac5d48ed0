#include "recording/PartsWriter.h"

#include <algorithm>
#include <utility>

namespace sonmere {

Outcome<std::shared_ptr<AudioFileWriter>> PartsWriter::create(MakePart makePart, std::int64_t partFrames) {
  auto first = makePart(1);
  if (!first) return first;
  return std::shared_ptr<AudioFileWriter>(
      new PartsWriter(std::move(makePart), std::max<std::int64_t>(partFrames, 1), std::move(*first)));
}

PartsWriter::PartsWriter(MakePart makePart, std::int64_t partFrames, std::shared_ptr<AudioFileWriter> first)
    : makePart_(std::move(makePart)),
      partFrames_(partFrames),
      format_(first->processingFormat()),
      file_(std::move(first)) {}

Outcome<void> PartsWriter::write(const PCMBuffer& buffer) {
  for (std::uint32_t from = 0; from < buffer.frameLength();) {
    // Not before there is something for it: no take ends with an empty part.
    if (inPart_ == partFrames_)
      if (auto begun = beginNextPart(); !begun) return begun;
    const auto frames =
        std::uint32_t(std::min<std::int64_t>(partFrames_ - inPart_, buffer.frameLength() - from));
    if (auto written = writePiece(buffer, from, frames); !written) return written;
    from += frames;
    inPart_ += frames;
  }
  return {};
}

Outcome<void> PartsWriter::writePiece(const PCMBuffer& buffer, std::uint32_t from, std::uint32_t frames) {
  if (from == 0 && frames == buffer.frameLength()) return file_->write(buffer);
  PCMBuffer piece(buffer.format(), frames);
  piece.setFrameLength(frames);
  for (std::uint32_t channel = 0; channel < buffer.format().channels; ++channel)
    std::copy_n(buffer.channel(channel) + from, frames, piece.channel(channel));
  return file_->write(piece);
}

Outcome<void> PartsWriter::beginNextPart() {
  const FilePlace place = file_->place();
  const std::uint64_t bytes = file_->space().bytes;
  auto next = makePart_(part_ + 1);
  if (!next) return std::unexpected(next.error());
  if (place.kind != FilePlace::Kind::gone) earlier_.push_back(place.path);
  earlierBytes_ += bytes;
  inPart_ = 0;
  ++part_;
  const std::shared_ptr<AudioFileWriter> ended = exchangeFile(std::move(*next));
  return ended->close();
}

std::shared_ptr<AudioFileWriter> PartsWriter::exchangeFile(std::shared_ptr<AudioFileWriter> next) {
  const std::lock_guard lock(mutex_);
  file_.swap(next);
  begin_ += partFrames_;
  if (origin_) file_->setOrigin(origin_->later(begin_, format_.sampleRate));
  for (const AudioFileMark& mark : std::exchange(ahead_, {})) hand(mark);
  return next;
}

void PartsWriter::hand(const AudioFileMark& mark) {
  const std::int64_t frame = std::max<std::int64_t>(mark.frame - begin_, 0);
  frame < partFrames_ ? file_->addMark({frame, mark.text}) : ahead_.push_back(mark);
}

void PartsWriter::addMark(const AudioFileMark& mark) {
  const std::lock_guard lock(mutex_);
  hand(mark);
}

void PartsWriter::setOrigin(const AudioFileOrigin& origin) {
  const std::lock_guard lock(mutex_);
  origin_ = origin;
  file_->setOrigin(origin.later(begin_, format_.sampleRate));
}

FileSpace PartsWriter::space() const {
  FileSpace space = file_->space();
  space.bytes += earlierBytes_;
  space.earlierParts = earlier_;
  return space;
}

}  // namespace sonmere
