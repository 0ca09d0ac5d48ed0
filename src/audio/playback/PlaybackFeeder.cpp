#include "audio/playback/PlaybackFeeder.h"

#include <algorithm>

namespace sonmere {

namespace {

constexpr std::int64_t kChunkFrames = 4096;
// Sounds soon, and lasts until the first refill.
constexpr std::int64_t kPrimedFrames = 8192;
constexpr Duration kRefillInterval = fromMilliseconds(20);

}  // namespace

PlaybackFeeder::PlaybackFeeder(Runtime& runtime, std::shared_ptr<Queue> queue,
                               std::shared_ptr<const PlaybackProgram> program,
                               std::vector<OpenSource> sources, double sampleRate, Events events)
    : runtime_(runtime),
      queue_(std::move(queue)),
      program_(std::move(program)),
      format_{sampleRate, 2},
      events_(std::move(events)),
      chunk_(std::size_t(kChunkFrames) * format_.channels) {
  for (std::size_t i = 0; i < sources.size(); ++i)
    tracks_.push_back({std::move(sources[i]), program_->streams[i], nullptr});
}

void PlaybackFeeder::start() {
  queue_->post([self = shared_from_this()] { self->prime(); });
  ticking_ = queue_->repeat(kRefillInterval, [self = shared_from_this()] { self->tick(); });
}

void PlaybackFeeder::cancel() {
  isCancelled_ = true;
  ticking_.cancel();
  events_ = {};
}

std::int64_t PlaybackFeeder::lateFrames() const {
  std::int64_t frames = 0;
  for (const auto& stream : program_->streams) frames += stream->lateFrames();
  return frames;
}

void PlaybackFeeder::prime() {
  for (std::size_t i = 0; i < tracks_.size() && !isCancelled_; ++i) openTrack(i);
  refill(kPrimedFrames);
  tell([this] {
    if (const auto primed = events_.primed) primed();
  });
}

void PlaybackFeeder::openTrack(std::size_t index) {
  auto reader = tracks_[index].open(format_);
  if (!reader) return fail(index, reader.error());
  tracks_[index].reader = std::move(*reader);
}

// The tracks take turns, so that one that is slow to read does not starve the others.
void PlaybackFeeder::refill(std::int64_t aheadFrames) {
  for (bool goesOn = true; goesOn;) {
    goesOn = false;
    const std::int64_t now = program_->timeline->frame.loadAcquire();
    for (std::size_t i = 0; i < tracks_.size() && !isCancelled_; ++i) {
      const Track& track = tracks_[i];
      if (track.hasEnded || track.stream->writtenUpTo() - now >= aheadFrames) continue;
      const std::int64_t frames = std::min(kChunkFrames, track.stream->room());
      goesOn |= frames > 0 && readChunk(i, frames);
    }
  }
}

bool PlaybackFeeder::readChunk(std::size_t index, std::int64_t frames) {
  Track& track = tracks_[index];
  const auto count = track.reader->read(chunk_.data(), std::uint32_t(frames));
  if (!count) {
    fail(index, count.error());
    return false;
  }
  track.stream->write(chunk_.data(), *count);
  if (*count > 0) return true;
  track.hasEnded = true;
  track.stream->finish();
  return false;
}

void PlaybackFeeder::fail(std::size_t index, const Error& error) {
  tracks_[index].hasEnded = true;
  tracks_[index].stream->finish();
  tell([this, index, error] {
    if (const auto failed = events_.failed) failed(index, error);
  });
}

void PlaybackFeeder::tick() {
  if (isCancelled_ || hasFinished_) return;
  refill(PlaybackStream::kRingFrames);
  const std::int64_t now = program_->timeline->frame.loadAcquire();
  hasFinished_ =
      std::ranges::all_of(program_->streams, [now](const auto& stream) { return stream->isPlayedOut(now); });
  if (!hasFinished_) return;
  tell([this] {
    if (const auto finished = events_.finished) finished();
  });
}

void PlaybackFeeder::tell(std::function<void()> event) {
  // Whoever is told may cancel: the feeder and the function called stay until the call is over.
  runtime_.mainQueue().post([self = shared_from_this(), event = std::move(event)] { event(); });
}

}  // namespace sonmere
