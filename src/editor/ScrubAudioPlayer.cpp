#include "editor/ScrubAudioPlayer.h"

#include <utility>

namespace sonmere {

namespace {
// Short enough to sound sharp, long enough not to click.
constexpr double kEdgeSeconds = 0.005;
}  // namespace

void ScrubAudioPlayer::scrub(std::vector<Track> tracks) {
  next_ = std::move(tracks);
  if (!isSounding_) play();
}

void ScrubAudioPlayer::stop() {
  isSounding_ = false;
  next_.clear();
  if (audioEngine_) audioEngine_->stop();
}

void ScrubAudioPlayer::play() {
  PlaybackEngine::Request request;
  for (const Track& track : std::exchange(next_, {})) {
    if (!*track.engine->trimRange || (isAudibleProvider && !isAudibleProvider(track.engine->url()))) continue;
    const double rate = track.engine->format().sampleRate;
    TrackPlaybackReader::Span span{track.frame, track.frame + std::int64_t(kPieceSeconds * rate)};
    span.edgeFrames = std::int64_t(kEdgeSeconds * rate);
    request.tracks.push_back(track.engine->source(span));
  }
  if (request.tracks.empty() || !prepareOutput()) return stop();
  request.finished = [this] { play(); };
  request.failed = [this](std::size_t, const Error& error) {
    context_.log.error("ScrubAudioPlayer: play failed: " + error.description);
  };
  isSounding_ = true;
  audioEngine_->play(std::move(request));
}

bool ScrubAudioPlayer::prepareOutput() {
  if (!audioEngine_) {
    audioEngine_ = std::make_unique<PlaybackEngine>(context_);
    audioEngine_->interrupted = [this] { stop(); };
  }
  const auto running = audioEngine_->start();
  if (!running) context_.log.error("ScrubAudioPlayer: play failed: " + running.error().description);
  return running.has_value();
}

}  // namespace sonmere
