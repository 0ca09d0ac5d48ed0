#include "ui/work/Player.h"

#include <QFile>
#include <algorithm>

#include "audio/file/StreamResampler.h"
#include "editor/track/TrackPlaybackReader.h"
#include "recording/RecordingReader.h"
#include "ui/work/Workbench.h"

namespace sonmere {
namespace {

constexpr int kTickMilliseconds = 40;

std::string fileName(const QString& path) { return QFile::encodeName(path).toStdString(); }

}  // namespace

double Player::seconds() const {
  if (!isPlaying() || engine_->sampleRate() <= 0) return from_;
  return std::min(length_, from_ + static_cast<double>(engine_->playedFrames()) / engine_->sampleRate());
}

bool Player::load(const QString& path) {
  stop();
  const auto file = openRecording(fileName(path));
  if (!file) return emit failed(QString::fromStdString(file.error().description)), false;
  path_ = path;
  rate_ = (*file)->format().sampleRate;
  frames_ = std::max<std::int64_t>((*file)->frameCount(), 0);
  length_ = static_cast<double>(frames_) / rate_;
  return true;
}

void Player::play(const QString& path) {
  if (path != path_ && !load(path)) return;
  if (from_ >= length_) from_ = 0;
  begin();
  emit changed();
}

void Player::begin() {
  if (!engine_) {
    engine_ = std::make_unique<PlaybackEngine>(workbench_.engines());
    engine_->interrupted = [this] { from_ = seconds(); };
    engine_->settled = [this] { begin(); };
  }
  if (const auto started = engine_->start(); !started)
    return finish(QString::fromStdString(started.error().description));
  PlaybackEngine::Request request;
  const MixTrackInput input{fileName(path_), TrimRange::whole(frames_, rate_)};
  const TrackPlaybackReader::Span span{.from = static_cast<std::int64_t>(from_ * rate_), .until = frames_};
  request.tracks.push_back(
      [input, span](const PCMFormat& wanted) -> Outcome<std::unique_ptr<AudioFileReader>> {
        auto reader = TrackPlaybackReader::open(input, span);
        if (!reader) return reader;
        return resampled(std::move(*reader), wanted);
      });
  request.finished = [this] {
    from_ = length_;
    finish({});
  };
  request.failed = [this](std::size_t, const Error& error) {
    finish(QString::fromStdString(error.description));
  };
  engine_->play(std::move(request));
  tick_.start(kTickMilliseconds);
}

void Player::pause() {
  if (!isPlaying()) return;
  from_ = seconds();
  finish({});
}

void Player::finish(const QString& error) {
  tick_.stop();
  if (engine_) engine_->stop();
  emit changed();
  emit moved();
  if (!error.isEmpty()) emit failed(error);
}

void Player::seek(double seconds) {
  const bool plays = isPlaying();
  tick_.stop();
  from_ = std::clamp(seconds, 0.0, length_);
  plays&& from_ < length_ ? begin() : finish({});
  emit moved();
}

void Player::stop() {
  if (path_.isEmpty()) return;
  tick_.stop();
  if (engine_) engine_->stop();
  path_.clear();
  from_ = length_ = 0;
  emit changed();
}

}  // namespace sonmere
