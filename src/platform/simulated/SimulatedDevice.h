#pragma once

#include <memory>
#include <mutex>

#include "base/Runtime.h"
#include "platform/simulated/SimulatedDeviceDescription.h"
#include "platform/simulated/SimulatedEndpoint.h"

namespace sonmere {

// A device with a clock of its own. Its cycle holds the device's mutex and no other; the control side takes
// the mutexes of all devices, in order of their IDs, to change anything that a cycle can see.
class SimulatedDevice final : public SimulatedEndpoint {
 public:
  SimulatedDevice(Runtime& runtime, const SimulatedDeviceDescription& description);
  ~SimulatedDevice() override;

  const SimulatedDeviceDescription& description() const { return description_; }
  // Hz with the clock's error.
  double trueRate() const { return sampleRate * (1 + description_.clockErrorPpm * 1e-6); }
  std::mutex& mutex() { return mutex_; }
  std::uint32_t& dataSource(AudioScope scope) {
    return scope == AudioScope::input ? inputDataSource_ : outputDataSource_;
  }

  // Under the mutex. Returns the plan that stood there.
  std::unique_ptr<EndpointPlan> replacePlan(std::unique_ptr<EndpointPlan> plan);
  // Under the mutex: rate or block size have changed.
  void rebase();
  // The microphone's signal at the present rate.
  SampleSource& inputSignal();

  // Without the mutex: the clock runs while it should and there is a plan.
  void runClock(bool mayRun);

 private:
  Duration cycle(Duration deadline);
  Duration deadlineOf(std::uint64_t cycleIndex) const;

  Runtime& runtime_;
  const SimulatedDeviceDescription description_;
  std::uint32_t outputDataSource_ = 0;
  std::uint32_t inputDataSource_ = 0;

  std::mutex mutex_;
  // Under mutex_.
  std::unique_ptr<EndpointPlan> plan_;
  std::unique_ptr<SampleSource> inputSignal_;
  double inputSignalRate_ = 0;
  // Deadlines count from the origin in whole frames, so that no rounding adds up.
  Duration origin_{0};
  std::uint64_t cyclesSinceOrigin_ = 0;
  Duration nextDeadline_{0};

  std::unique_ptr<CycleClock> clock_;
};

}  // namespace sonmere
