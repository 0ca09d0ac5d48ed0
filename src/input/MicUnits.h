#pragma once

#include <expected>
#include <memory>

#include "audio/engine/EngineContext.h"
#include "audio/engine/InputRunner.h"
#include "audio/engine/OutputRunner.h"
#include "input/MicBridgeOutput.h"
#include "input/MicCapture.h"
#include "input/PassthroughError.h"

namespace sonmere {

// Between which devices the mic runs, and at which rates in Hz.
struct MicRoute {
  AudioDeviceID input = kAudioObjectUnknown;
  AudioDeviceID bridge = kAudioObjectUnknown;
  double captureRate = 48000;
  double bridgeRate = 48000;

  bool isConverted() const;
};

// The input unit and the bridge's output unit: both run, or none. Main thread.
class MicUnits {
 public:
  MicUnits(EngineContext& context, std::shared_ptr<MicRenderState> state);
  // Waits for the tear-down.
  ~MicUnits();

  // Makes and starts both; on a failure nothing is left.
  std::expected<void, PassthroughError> start(const MicRoute& route);
  // Hands both to the tear-down queue; no callback touches the ring any more.
  void stop();
  bool isRunning() const { return capture_.isMade(); }
  const MicRoute& route() const { return route_; }
  int channels() const { return channels_; }
  // What the input device delivers by itself.
  double nativeRate() const { return nativeRate_; }

 private:
  using Made = std::expected<void, PassthroughError>;
  InputRunner::Plan capturePlan();
  AudioStreamFormat captureFormat(const OutputUnit& unit, AudioDeviceID device);
  Made startBoth();

  EngineContext& context_;
  const std::shared_ptr<MicRenderState> state_;
  MicRoute route_;
  int channels_ = 0;
  double nativeRate_ = 0;

  InputRunner capture_;
  OutputRunner output_;
};

}  // namespace sonmere
