#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "audio/engine/TapAggregate.h"
#include "dsp/MonitorSource.h"
#include "routing/RoutingCore.h"

namespace sonmere {

// What every program plays that nobody else captures, for the monitor: one muted tap of all but some. Main
// thread.
class CatchAllTap {
 public:
  explicit CatchAllTap(RoutingCore& core);
  ~CatchAllTap();

  // Captures all but these processes from now on, made anew where they are others. A failure is logged, and
  // the next call tries again.
  void start(std::vector<AudioObjectID> excludes);
  void stop();
  // Made anew with the same processes.
  void heal();
  bool isRunning() const { return objects_.tapObjectID != kAudioObjectUnknown; }
  // The server knows nothing of it any more.
  void forget();

  // How loud the monitor plays it, linear.
  void setVolume(float volume) { state_->source.gain = volume; }
  float level() const { return state_->level; }

 private:
  struct State {
    MonitorSource source;
    RTScalar<float> level;  // 0 to 1; the I/O procedure
  };
  static OSStatus capture(void* state, const AudioTimeStamp&, AudioBufferList input,
                          AudioBufferList output) noexcept SONMERE_NONBLOCKING;
  TapAggregatePlan plan() const;
  void report(const TapAggregateFailure& failure) const;
  void create();
  void destroy();

  RoutingCore& core_;
  const std::shared_ptr<State> state_ = std::make_shared<State>();
  TapAggregate objects_;
  std::vector<AudioObjectID> lastCatchAllExcludes_;
};

}  // namespace sonmere
