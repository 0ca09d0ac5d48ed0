#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "audio/engine/OutputRunner.h"
#include "audio/engine/RenderServices.h"
#include "audio/playback/PlaybackFeeder.h"
#include "base/Error.h"

namespace sonmere {

// Plays tracks on the default output device, on any platform: one output unit whose callback sums what a
// worker has read ahead. However long the tracks are, each takes half a megabyte. Main thread.
class PlaybackEngine final : public Route {
 public:
  using OpenSource = PlaybackFeeder::OpenSource;
  struct Request {
    std::vector<OpenSource> tracks;  // they begin together, in step to the sample
    // Where on the present timeline the tracks begin: the request then takes the place of what plays without
    // a gap. Nothing: a new timeline, that begins with them.
    std::optional<std::int64_t> from;
    // Told on the main thread, unless another request or a stop came before.
    std::function<void()> started;   // it sounds from the next block on
    std::function<void()> finished;  // all tracks have been played to their ends
    std::function<void(std::size_t track, const Error& error)> failed;  // the others go on
  };

  PlaybackEngine(RenderServices& rendering, RouteKeeper& routes);
  explicit PlaybackEngine(EngineContext& context) : PlaybackEngine(context.rendering, context.routes) {}
  // Waits for the tear-down of its unit.
  ~PlaybackEngine() override;

  // The output is not what it was (unplugged, another default, another rate, the server restarted): nothing
  // plays after the call.
  std::function<void()> interrupted;
  // After that, once it has settled: whoever wants to go on starts again. Not told after a stop or a start.
  std::function<void()> settled;

  // Makes and starts the output unit unless it runs. The error names what could not be done.
  Outcome<void> start();
  // Of the unit and so of the timeline, Hz; 0 while it does not run.
  double sampleRate() const { return output_.sampleRate(); }

  // Only while it runs.
  void play(Request request);
  // Frames of the present timeline that have been rendered.
  std::int64_t playedFrames() const;
  // Silence from the next block on. The unit is given back when nothing follows within a second.
  void stop();

  void serverLost() override;
  void revalidate(RevalidationReason reason) override;
  RouteHealthEntry health() const override;

 private:
  struct Pending {
    std::shared_ptr<PlaybackFeeder> feeder;
    std::function<void()> started;
  };
  OutputRunner::Plan plan();
  void halt();
  void teardown();
  void publish(std::shared_ptr<const PlaybackProgram> program);
  void beginOnceHeard(const std::shared_ptr<PlaybackFeeder>& feeder, Duration patience);
  void begin();
  void endFeeder(std::shared_ptr<PlaybackFeeder>& feeder);
  void interrupt();
  void resume();

  RenderServices& rendering_;
  Runtime& runtime_;
  AudioHardware& hardware_;
  const std::shared_ptr<Queue> worker_;

  OutputRunner output_;
  RouteKeeper& routes_;
  RouteKeeper::Registration registration_;  // while there is a unit, or one is waited for
  bool awaitsOutput_ = false;

  std::shared_ptr<PlaybackFeeder> playing_;
  Pending pending_;
  std::shared_ptr<PlaybackTimeline> timeline_;
  ScopedTask idle_, untilHeard_, settling_;
};

}  // namespace sonmere
