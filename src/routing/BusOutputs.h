#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>

#include "audio/engine/OutputRunner.h"
#include "base/Observable.h"
#include "routing/BusRender.h"
#include "routing/RoutingCore.h"

namespace sonmere {

// The output units of the ten buses, at most one each. Main thread.
class BusOutputs {
 public:
  explicit BusOutputs(RoutingCore& core);
  ~BusOutputs();

  // The rate that a running recording of the bus is bound to; nothing without one.
  std::function<std::optional<double>(int bus)> recordingRate;
  // Told when a unit has started, so that the taps of its bus take its rate.
  std::function<void(int bus)> didStart;

  // Counts the starts and stops of units.
  OwnedObservable<int, BusOutputs> changes{0};

  // Starts the unit unless it runs; a failure shows in errorMessage and leaves the bus without a unit.
  void start(int bus);
  // Hands the unit to the tear-down queue; does not wait.
  void stop(int bus);
  bool isRunning(int bus) const { return isBus(bus) && runner(bus).isRunning(); }
  // Starts or stops the unit as its taps and mic send ask.
  void reconcile(int bus);
  // Stops every unit and starts none from now on.
  void close();
  // After a restart of the server: every unit is dead, whatever its device's ID.
  void dropAll();
  // Restarts the unit where it is not what its bus should have.
  void check(int bus);
  // After a change of the device list: units whose device went or was replaced are dropped, and wanted buses
  // get their unit again.
  void reconcileDevices();

  // Tries again to start the units that wanted buses lack, where their devices are there.
  void retryMissing();

  // Rate of the running unit; nothing while the bus has none.
  std::optional<double> sampleRate(int bus) const;
  // The unit's rate, else the bridge's, else 48000.
  double rateOrDefault(int bus) const;

 private:
  OutputRunner::Plan plan(int bus);
  OutputRunner& runner(int bus) const { return *runners_[std::size_t(bus)]; }
  bool isWanted(int bus) const;
  double chooseRate(int bus, AudioDeviceID device) const;
  void noteInterruption(int bus);
  void reportGap(int bus);

  RoutingCore& core_;
  bool closed_ = false;
  std::array<std::unique_ptr<OutputRunner>, kBusCount> runners_;
  // Host time of the last audio of buses whose unit went while they were recorded.
  std::array<std::optional<std::uint64_t>, kBusCount> interruptedAt_;
};

}  // namespace sonmere
