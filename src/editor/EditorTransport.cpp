#include "editor/EditorTransport.h"

#include <algorithm>
#include <cmath>

#include "base/UUID.h"

namespace sonmere {

namespace {

constexpr Duration kPlayheadInterval = std::chrono::nanoseconds(1'000'000'000 / 60);
// A drag changes the edit many times a second; the sound follows when it rests for this long.
constexpr Duration kRescheduleDelay = fromMilliseconds(50);

bool contains(const EditorTransport::Span& span, std::int64_t frame) {
  return frame >= span.startFrame && frame < span.endFrame;
}

}  // namespace

EditorTransport::EditorTransport(EngineContext& context, Material material)
    : context_(context), material_(std::move(material)) {}

EditorTransport::~EditorTransport() {
  halt();
  silence();
}

void EditorTransport::close() {
  halt();
  isInterrupted_ = false;
  silence();
  pausedAtFrame_.reset();
  if (*isPlaying) isPlaying.set(false);
}

// Operations.

void EditorTransport::play() {
  isInterrupted_ = false;
  const Span span = material_.span();
  if (span.endFrame <= span.startFrame) return pause();
  start(contains(span, *playheadFrame) ? *playheadFrame : span.startFrame, std::nullopt);
}

void EditorTransport::pause() {
  if (!*isPlaying) return;
  tick();
  halt();
  isInterrupted_ = false;
  silence();
  pausedAtFrame_ = *playheadFrame;
  isPlaying.set(false);
}

void EditorTransport::seek(std::int64_t frame) {
  movePlayhead(std::clamp<std::int64_t>(frame, 0, material_.totalFrames()));
  if (*isPlaying) {
    halt();
    play();
  } else if (pausedAtFrame_) {
    pausedAtFrame_ = *playheadFrame;
  }
}

void EditorTransport::setLoop(bool loops) {
  if (loops == *loopEnabled) return;
  loopEnabled.set(loops);
  materialChanged();
}

void EditorTransport::materialChanged() {
  if (!*isPlaying) {
    pausedAtFrame_.reset();
    return;
  }
  rescheduleDebounceTask_ =
      context_.runtime.mainQueue().postAfter(kRescheduleDelay, [this] { reschedule(); });
}

// Scheduling.

void EditorTransport::start(std::int64_t from, std::optional<std::int64_t> timelineFrame) {
  if (auto running = audioEngine().start(); !running) return fail(running.error());
  const std::string token = playbackToken_ = makeUUID(context_.runtime);
  const bool loops = *loopEnabled;
  const Scheduled scheduled{material_.span(), loops, from, timelineFrame.value_or(0)};
  const auto whenCurrent = [this, token](auto&& action) {
    return [this, token, action](auto&&... arguments) {
      if (token == playbackToken_) action(arguments...);
    };
  };
  if (!timelineFrame) movePlayhead(from);
  pausedAtFrame_.reset();
  if (!*isPlaying) isPlaying.set(true);
  rescheduleInFlight_ = true;
  auto tracks = material_.tracks(from, loops);
  readableTracks_ = tracks.size();
  audioEngine().play(
      {std::move(tracks), timelineFrame,
       whenCurrent([this, scheduled, goesOn = timelineFrame.has_value()] { started(scheduled, goesOn); }),
       whenCurrent([this] { finished(); }),
       whenCurrent([this](std::size_t, const Error& error) { trackFailed(error); })});
}

// What goes on seamlessly leaves the playhead's clock alone, or it would jump by a part of a block.
void EditorTransport::started(const Scheduled& scheduled, bool goesOn) {
  rescheduleInFlight_ = false;
  playbackStartFrame_ = goesOn ? frameByClock() : scheduled.fromFrame;
  playbackStartTimestamp_ = context_.runtime.uptime();
  scheduled_ = scheduled;
  startTimer();
}

void EditorTransport::finished() {
  if (*loopEnabled) {
    movePlayhead(material_.span().startFrame);
    return play();
  }
  const std::int64_t end = scheduled_ ? scheduled_->span.endFrame : *playheadFrame;
  // The range has just grown beyond where it was scheduled to end.
  if (contains(material_.span(), end)) return reschedule();
  movePlayhead(end);
  halt();
  silence();
  isPlaying.set(false);
}

void EditorTransport::trackFailed(const Error& error) {
  if (--readableTracks_ == 0) return fail(error);
  context_.log.error(material_.logName + ": play failed: " + error.description);
}

void EditorTransport::fail(const Error& error) {
  context_.log.error(material_.logName + ": play failed: " + error.description);
  halt();
  silence();
  if (*isPlaying) isPlaying.set(false);
}

// The playhead waits where the sound broke off.
void EditorTransport::interrupted() {
  tick();
  halt();
  isInterrupted_ = true;
}

void EditorTransport::settled() {
  play();
  if (!*isPlaying) pausedAtFrame_ = *playheadFrame;
}

PlaybackEngine& EditorTransport::audioEngine() {
  if (!audioEngine_) {
    audioEngine_ = std::make_unique<PlaybackEngine>(context_);
    audioEngine_->interrupted = [this] { interrupted(); };
    audioEngine_->settled = [this] { settled(); };
  }
  return *audioEngine_;
}

void EditorTransport::silence() {
  if (audioEngine_) audioEngine_->stop();
}

void EditorTransport::halt() {
  playbackToken_.clear();
  playbackTimer_.cancel();
  rescheduleDebounceTask_.cancel();
  rescheduleInFlight_ = false;
  scheduled_.reset();
}

void EditorTransport::reschedule() {
  if (!*isPlaying || isInterrupted_) return;
  if (rescheduleInFlight_) return materialChanged();
  const std::int64_t timelineFrame = audioEngine_->playedFrames();
  const std::int64_t heard = frameHeard(timelineFrame);
  const Span span = material_.span();
  if (span.endFrame <= span.startFrame) return pause();
  if (contains(span, heard)) return start(heard, timelineFrame);
  if (hasPlayedOut(heard)) return;
  start(span.startFrame, std::nullopt);
}

// The end has sounded and is about to be told.
bool EditorTransport::hasPlayedOut(std::int64_t heard) const {
  return scheduled_ && !scheduled_->loops && heard >= scheduled_->span.endFrame;
}

// The playhead.

void EditorTransport::startTimer() {
  playbackTimer_ = context_.runtime.mainQueue().repeat(kPlayheadInterval, [this] { tick(); });
}

void EditorTransport::tick() {
  if (scheduled_) movePlayhead(frameByClock());
}

void EditorTransport::movePlayhead(std::int64_t frame) { playheadFrame.setIfChanged(frame); }

std::int64_t EditorTransport::frameByClock() const {
  const double elapsed = toSeconds(context_.runtime.uptime() - playbackStartTimestamp_);
  return wrapped(playbackStartFrame_ + std::int64_t(elapsed * material_.sampleRate()));
}

std::int64_t EditorTransport::frameHeard(std::int64_t timelineFrame) const {
  if (!scheduled_) return *playheadFrame;
  const double ratio = material_.sampleRate() / audioEngine_->sampleRate();
  const double frames = double(timelineFrame - scheduled_->timelineFrame) * ratio;
  return wrapped(scheduled_->fromFrame + std::llround(frames));
}

std::int64_t EditorTransport::wrapped(std::int64_t frame) const {
  const Span& span = scheduled_->span;
  if (frame < span.endFrame) return frame;
  if (!scheduled_->loops) return span.endFrame;
  return span.startFrame + (frame - span.endFrame) % (span.endFrame - span.startFrame);
}

}  // namespace sonmere
