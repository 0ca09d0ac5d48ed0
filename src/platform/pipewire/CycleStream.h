#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "audio/device/AudioTypes.h"
#include "base/Time.h"
#include "platform/pipewire/GraphObjects.h"
#include "platform/pipewire/PipeWireLoop.h"
#include "platform/pipewire/StreamClock.h"

struct pw_core;

namespace sonmere {

// How a stream of the program shows itself to the server.
struct CycleStreamPlan {
  enum class Kind {
    capture,   // takes what a device's input side gives
    playback,  // gives to a device's output side
    sink,      // a hidden device that programs can be moved to
    waiting,   // a device that drives what is linked to it, and makes no cycle by itself
    listener   // takes what is linked to it by hand
  };
  Kind kind = Kind::playback;
  std::string name;         // node.name, unique
  std::string description;  // what a mixer of the desktop shows
  AudioStreamFormat format;
  std::vector<std::string> positions;  // one per channel; empty: the usual ones of one or two channels
  std::string target;                  // node.name of the device; for capture and playback
  std::uint32_t latencyFrames = 0;     // wished buffer size; 0: none
  std::string group;                   // streams of a group share one driver and run every cycle
};

// One stream and its callback, once per cycle on the audio thread with subnormals flushed.
class CycleStream {
 public:
  // Samples that came in, or the place for those that go out: interleaved.
  struct Cycle {
    float* samples = nullptr;
    std::uint32_t frames = 0;
    std::uint32_t channels = 0;
    AudioTimeStamp now;
  };
  using Process = void (*)(void* refcon, const Cycle& cycle) noexcept;

  CycleStream(PipeWireLoop& loop, CycleStreamPlan plan, Process callback, void* refcon);
  // Disconnects. No callback runs once it has returned.
  ~CycleStream();
  CycleStream(const CycleStream&) = delete;
  CycleStream& operator=(const CycleStream&) = delete;

  // Waits until the server has made the stream's node, or says why not. The caller holds the lock once.
  OSStatus connect(pw_core* core, Duration timeout);
  // The same without waiting; false: the server can't even be asked. Lock held.
  bool begin(pw_core* core);
  // Whether the server has taken the stream down. Lock held.
  bool hasGone() const;
  // Lock held.
  void disconnect();
  // The stream goes on, taking what comes, but its callback does not run once this has returned. Lock held.
  void silence();
  // From now on this callback runs, of a stream that was silenced. Lock held.
  void resume(Process callback, void* refcon);
  // Another wished buffer size, in frames; the server takes it while the stream runs. Lock held.
  void setLatency(std::uint32_t frames);
  const CycleStreamPlan& plan() const { return plan_; }
  bool isConnected() const;
  // The stream's node; nothing before it is connected.
  std::optional<GlobalID> node() const;

  // Cycles run so far, and the frames of the last one. Threads: any.
  std::uint64_t cycles() const noexcept { return cycles_.load(std::memory_order_relaxed); }
  std::uint32_t cycleFrames() const noexcept { return cycleFrames_.load(std::memory_order_relaxed); }
  MissedCycles missed() const noexcept { return clock_.missed(); }

 private:
  struct Hooks;
  void process() noexcept;

  PipeWireLoop& loop_;
  CycleStreamPlan plan_;
  Process process_;  // these two change while silenced only
  void* refcon_;
  std::unique_ptr<Hooks> hooks_;

  std::atomic<bool> isSilenced_{false};

  StreamClock clock_;
  std::atomic<std::uint64_t> cycles_{0};
  std::atomic<std::uint32_t> cycleFrames_{0};
};

}  // namespace sonmere
