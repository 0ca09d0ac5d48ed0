#pragma once

#include <array>
#include <functional>
#include <memory>
#include <optional>

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

  // Starts the unit unless it runs; a failure shows in errorMessage and leaves the bus without a unit.
  void start(int bus);
  // Hands the unit to the tear-down queue; does not wait.
  void stop(int bus);
  bool isRunning(int bus) const;
  // Starts or stops the unit as its taps and mic send ask.
  void reconcile(int bus);
  // After a change of the device list: units whose device went or was replaced are dropped, and wanted buses
  // get their unit again.
  void reconcileDevices();

  // Rate of the running unit; nothing while the bus has none.
  std::optional<double> sampleRate(int bus) const;

 private:
  struct Output {
    std::unique_ptr<OutputUnit> unit;
    std::shared_ptr<OutputAUContext> context;
    AudioDeviceID device = kAudioObjectUnknown;
    std::vector<ListenerID> rateListeners;
  };
  struct StartFailure {
    std::string message;
  };

  bool isWanted(int bus) const;
  double chooseRate(int bus, AudioDeviceID device) const;
  std::expected<Output, StartFailure> build(int bus);
  void listenForRate(int bus, Output& output);
  void rateChanged(int bus);

  RoutingCore& core_;
  std::array<std::optional<Output>, kBusCount> outputs_;
  std::shared_ptr<BusOutputs*> self_ = std::make_shared<BusOutputs*>(this);
};

}  // namespace sonmere
