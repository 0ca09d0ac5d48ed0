#pragma once

#include <expected>
#include <memory>

#include "audio/device/BusTable.h"
#include "audio/engine/EngineContext.h"
#include "audio/engine/InputRunner.h"
#include "audio/engine/PropertyListener.h"
#include "base/TaskToken.h"

namespace sonmere {

// Reads back from a Track's device what other programs play into it, for the monitor. Main thread.
class BusLoopbackMonitor {
 public:
  // Tracks count from 1.
  BusLoopbackMonitor(EngineContext& context, int track);
  // Waits for the tear-down of its unit.
  ~BusLoopbackMonitor();

  // What it hears goes here; on while it runs.
  const std::shared_ptr<MonitorSource>& source() const { return source_; }
  bool isRunning() const { return input_.isMade(); }

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
  InputRunner::Plan plan() const;
  std::expected<void, OutputFailure> build(AudioDeviceID device);
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
  InputRunner input_;
  PropertyListener sampleRateListener_, bridgeRateListener_;
  ScopedTask retryTask_, watchdog_;
};

}  // namespace sonmere
