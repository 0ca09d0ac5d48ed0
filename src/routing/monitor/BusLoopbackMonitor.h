#pragma once

#include <memory>

#include "audio/device/BusTable.h"
#include "audio/engine/EngineContext.h"
#include "audio/engine/PropertyListener.h"
#include "audio/engine/RenderContext.h"
#include "base/TaskToken.h"

namespace sonmere {

struct BusLoopbackCallbackContext;

// Reads back from a Track's device what other programs play into it, for the monitor. Main thread.
class BusLoopbackMonitor {
 public:
  // Tracks count from 1.
  BusLoopbackMonitor(EngineContext& context, int track);
  // Waits for the tear-down of its unit.
  ~BusLoopbackMonitor();

  // What it hears goes here; on while it runs.
  const std::shared_ptr<MonitorSource>& source() const { return source_; }
  bool isRunning() const { return unit_ != nullptr; }

  // From now on, through failures and changes of the device, until it is stopped.
  void start();
  void stop();
  // The devices are others, or the server is: begins anew where the device is not the one it reads from.
  void nudge();
  // Every object of the server is gone.
  void forget();

 private:
  int bus() const { return trackIndex_ + 1; }
  void open();
  void close();
  void reopen();
  OSStatus build(AudioDeviceID device);
  void retry();
  void look();
  double bridgeRate() const;

  EngineContext& context_;
  const int trackIndex_;
  const std::shared_ptr<MonitorSource> source_ = std::make_shared<MonitorSource>();
  bool shouldBeRunning_ = false;
  bool isNudged_ = false;
  int retryAttempt_ = 0;
  int watchdogAttempts_ = 0;
  // In this order: the unit goes before what its callback works on.
  std::shared_ptr<BusLoopbackCallbackContext> callbackContext_;
  std::unique_ptr<OutputUnit> unit_;
  AudioDeviceID device_ = kAudioObjectUnknown;
  PropertyListener sampleRateListener_, bridgeRateListener_;
  ScopedTask retryTask_, watchdog_;
};

}  // namespace sonmere
