#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "audio/device/AudioTypes.h"

namespace sonmere {

// One voice of a playback engine: plays segments of samples on the engine's timeline, with gain and pan.
class PlayerNode {
 public:
  virtual ~PlayerNode() = default;
  // Delivers `frames` frames of deinterleaved float32 from `startFrame` of its material into `planes`;
  // returns the frames delivered. Called ahead of time on a worker, never on the render thread.
  using Source =
      std::function<std::uint32_t(std::int64_t startFrame, std::uint32_t frames, float* const* planes)>;
  // Plays [startFrame, startFrame + frameCount) of the source; `finished` comes on the main queue.
  virtual OSStatus scheduleSegment(Source source, std::uint32_t channels, double sampleRate,
                                   std::int64_t startFrame, std::int64_t frameCount,
                                   std::function<void()> finished) = 0;
  virtual void setVolume(float gain) = 0;
  virtual void setPan(float pan) = 0;  // -1 left to +1 right
  // At `hostTime` (ns; 0: at once).
  virtual void play(std::uint64_t hostTime) = 0;
  virtual void pause() = 0;
  // Drops what is scheduled and sets the node's time to 0.
  virtual void stop() = 0;
  // Frames played since the last play from the start, at the segment's rate; nothing while stopped.
  virtual std::optional<std::int64_t> playedFrames() const = 0;
};

// Plays files on an output device for the editors. Main thread.
class PlaybackEngine {
 public:
  virtual ~PlaybackEngine() = default;
  virtual std::shared_ptr<PlayerNode> attachPlayer() = 0;
  virtual void detachPlayer(const std::shared_ptr<PlayerNode>& player) = 0;
  virtual OSStatus setOutputDevice(AudioDeviceID device) = 0;
  virtual OSStatus start() = 0;
  virtual void pause() = 0;
  virtual void stop() = 0;
  virtual bool isRunning() const = 0;
  virtual std::uint64_t hostTime() const = 0;
};

}  // namespace sonmere
