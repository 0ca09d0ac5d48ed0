#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "audio/playback/PlaybackEngine.h"
#include "base/Observable.h"

namespace sonmere {

// Playing, pausing and seeking in what an editor holds, and the playhead. Positions are frames of the
// editor's timeline. Main thread.
class EditorTransport {
 public:
  struct Span {
    std::int64_t startFrame = 0;
    std::int64_t endFrame = 0;  // exclusive; at or before the start: there is nothing to play
  };
  // What the editor holds, asked for whenever it is to play.
  struct Material {
    std::string logName;                 // in front of the log lines
    std::function<double()> sampleRate;  // of the timeline, Hz
    std::function<Span()> span;
    std::function<std::int64_t()> totalFrames;  // as far as the playhead goes
    std::function<std::vector<PlaybackEngine::OpenSource>(std::int64_t from, bool loops)> tracks;
  };

  EditorTransport(EngineContext& context, Material material);
  ~EditorTransport();

  // To be observed; changed by the operations below only.
  OwnedObservable<bool, EditorTransport> isPlaying{false};
  OwnedObservable<bool, EditorTransport> loopEnabled{false};
  OwnedObservable<std::int64_t, EditorTransport> playheadFrame{0};

  // From the playhead, or from the span's start when it is outside. Without loop the playing stops at the
  // span's end, where the playhead stays; the next play begins at the start. A track that can't be read is
  // logged and silent; when none is left the playing ends.
  void play();
  void pause();
  void togglePlayback() { *isPlaying ? pause() : play(); }
  // While it plays the sound follows.
  void seek(std::int64_t frame);
  // At the span's end it goes on at its start, without a gap.
  void setLoop(bool loops);
  // What is heard has changed: while it plays that is scheduled anew from the playhead, a moment after the
  // last change, and takes over without a gap.
  void materialChanged();
  // Stops and gives the output back.
  void close();

  // Changes with each scheduling: what an older one still reports means nothing.
  const std::string& playbackToken() const { return playbackToken_; }
  // The place while paused; nothing while it plays, before the first play and after an edit.
  std::optional<std::int64_t> pausedAtFrame() const { return pausedAtFrame_; }

 private:
  struct Scheduled {
    Span span;
    bool loops = false;
    std::int64_t fromFrame = 0;      // heard at `timelineFrame`
    std::int64_t timelineFrame = 0;  // of the playback engine
  };
  void start(std::int64_t from, std::optional<std::int64_t> timelineFrame);
  void started(const Scheduled& scheduled, bool goesOn);
  void finished();
  bool hasPlayedOut(std::int64_t heard) const;
  void trackFailed(const Error& error);
  void interrupted();
  void settled();
  PlaybackEngine& audioEngine();
  void silence();
  void halt();
  void startTimer();
  void tick();
  void reschedule();
  void movePlayhead(std::int64_t frame);
  std::int64_t wrapped(std::int64_t frame) const;
  std::int64_t frameByClock() const;
  std::int64_t frameHeard(std::int64_t timelineFrame) const;
  void fail(const Error& error);

  EngineContext& context_;
  const Material material_;
  std::unique_ptr<PlaybackEngine> audioEngine_;  // from the first play on
  std::string playbackToken_;
  std::optional<Scheduled> scheduled_;  // what sounds
  std::size_t readableTracks_ = 0;      // of the latest scheduling
  ScopedTask rescheduleDebounceTask_;
  bool rescheduleInFlight_ = false;
  ScopedTask playbackTimer_;
  bool isInterrupted_ = false;  // and goes on once there is an output
  std::int64_t playbackStartFrame_ = 0;
  Duration playbackStartTimestamp_{0};  // uptime
  std::optional<std::int64_t> pausedAtFrame_;
};

}  // namespace sonmere
