#pragma once

#include <memory>
#include <vector>

#include "audio/device/OutputUnit.h"
#include "base/Log.h"
#include "base/Runtime.h"

namespace sonmere {

// Stops and disposes of units one at a time on a background queue, because the server may block there.
// Main thread; the caller returns at once.
class TeardownQueue {
 public:
  TeardownQueue(Runtime& runtime, Log& log);

  // `context` is what the unit's callback works on: it lives until the unit is gone.
  void dispose(std::unique_ptr<OutputUnit> unit, std::shared_ptr<void> context);
  // Waits until all units handed over so far are gone, or the timeout has passed; returns whether they are.
  bool drain(Duration timeout);
  // What units that are not gone yet may hold: it goes with the last of them.
  void keepForStalledUnits(std::vector<std::shared_ptr<const void>> objects) { *kept_ = std::move(objects); }

 private:
  using Kept = std::vector<std::shared_ptr<const void>>;
  Runtime& runtime_;
  Log& log_;
  std::shared_ptr<Queue> queue_;
  std::shared_ptr<std::atomic<int>> pending_ = std::make_shared<std::atomic<int>>(0);
  std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
};

}  // namespace sonmere
