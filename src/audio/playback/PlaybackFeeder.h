#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "audio/playback/PlaybackProgram.h"
#include "base/Runtime.h"

namespace sonmere {

// Reads the tracks of a program ahead of the render, on a serial queue.
class PlaybackFeeder : public std::enable_shared_from_this<PlaybackFeeder> {
 public:
  // Makes what a track plays, in the format asked for. Worker.
  using OpenSource = std::function<Outcome<std::unique_ptr<AudioFileReader>>(const PCMFormat& wanted)>;
  // Told on the main queue, unless cancelled by then.
  struct Events {
    std::function<void()> primed;                    // every track holds enough to begin
    std::function<void()> finished;                  // the timeline has passed the last track's end
    std::function<void(std::size_t, Error)> failed;  // a track can't be read; it is silent from there on
  };

  // Main thread, all below.
  PlaybackFeeder(Runtime& runtime, std::shared_ptr<Queue> queue,
                 std::shared_ptr<const PlaybackProgram> program, std::vector<OpenSource> sources,
                 double sampleRate, Events events);
  void start();
  // No event comes after this.
  void cancel();

  const std::shared_ptr<const PlaybackProgram>& program() const { return program_; }
  std::int64_t lateFrames() const;

 private:
  struct Track {
    OpenSource open;
    std::shared_ptr<PlaybackStream> stream;
    std::unique_ptr<AudioFileReader> reader;
    bool hasEnded = false;
  };
  // Worker.
  void prime();
  void openTrack(std::size_t index);
  void refill(std::int64_t aheadFrames);
  bool readChunk(std::size_t index, std::int64_t frames);
  void fail(std::size_t index, const Error& error);
  void tick();
  void tell(std::function<void()> event);

  Runtime& runtime_;
  const std::shared_ptr<Queue> queue_;
  const std::shared_ptr<const PlaybackProgram> program_;
  const PCMFormat format_;
  Events events_;  // main thread
  TaskToken ticking_;
  std::atomic<bool> isCancelled_ = false;

  // Worker.
  std::vector<Track> tracks_;
  std::vector<float> chunk_;
  bool hasFinished_ = false;
};

}  // namespace sonmere
