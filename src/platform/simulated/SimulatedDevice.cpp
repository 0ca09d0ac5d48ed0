#include "platform/simulated/SimulatedDevice.h"

#include <cmath>
#include <utility>

#include "platform/simulated/SampleSources.h"

namespace sonmere {

namespace {
// A cycle later than this is an overload: what it missed is lost, as on hardware.
constexpr Duration kOverload = fromMilliseconds(250);
__extension__ typedef unsigned __int128 Wide;
}  // namespace

SimulatedDevice::SimulatedDevice(Runtime& runtime, const SimulatedDeviceDescription& description)
    : runtime_(runtime),
      description_(description),
      outputDataSource_(description.outputDataSource.value_or(0)),
      inputDataSource_(description.inputDataSource.value_or(0)) {
  uid = description.uid;
  name = description.name;
  transport = description.transport;
  outputChannels = description.outputChannels;
  inputChannels = description.inputChannels;
  sampleRate = description.nominalRate;
  bufferFrames = description.bufferFrames;
}

SimulatedDevice::~SimulatedDevice() { clock_.reset(); }

Duration SimulatedDevice::deadlineOf(std::uint64_t cycleIndex) const {
  // frames * 1e9 / (rate * (1 + ppm * 1e-6)), with the rate in mHz and the error in 1e-9.
  const auto milliHertz = Wide(std::llround(sampleRate * 1e3));
  const auto clock = Wide(1'000'000'000 + std::llround(description_.clockErrorPpm * 1e3));
  const Wide numerator = Wide(cycleIndex) * bufferFrames * 1'000'000'000 * 1'000 * 1'000'000'000;
  return origin_ + Duration(std::int64_t(numerator / (milliHertz * clock)));
}

Duration SimulatedDevice::cycle(Duration deadline) {
  const std::lock_guard lock(mutex_);
  const Duration now = runtime_.uptime();
  if (now - deadline > kOverload) {
    if (plan_) plan_->state->sampleTime += std::floor(toSeconds(now - deadline) * trueRate());
    origin_ = now;
    cyclesSinceOrigin_ = 0;
  }
  if (plan_) plan_->run(std::uint64_t(deadline.count()));
  nextDeadline_ = deadlineOf(++cyclesSinceOrigin_);
  return nextDeadline_;
}

std::unique_ptr<EndpointPlan> SimulatedDevice::replacePlan(std::unique_ptr<EndpointPlan> plan) {
  return std::exchange(plan_, std::move(plan));
}

void SimulatedDevice::rebase() {
  origin_ = nextDeadline_;
  cyclesSinceOrigin_ = 0;
}

SampleSource& SimulatedDevice::inputSignal() {
  if (!inputSignal_)
    inputSignal_ = description_.inputSignal ? description_.inputSignal() : SampleSources::silence();
  if (inputSignalRate_ != sampleRate) inputSignal_->setSampleRate(sampleRate);
  inputSignalRate_ = sampleRate;
  return *inputSignal_;
}

void SimulatedDevice::runClock(bool mayRun) {
  const bool run = mayRun && plan_ != nullptr;
  if (run == (clock_ != nullptr)) return;
  if (!run) {
    clock_.reset();
    return;
  }
  origin_ = runtime_.uptime();
  cyclesSinceOrigin_ = 0;
  nextDeadline_ = deadlineOf(++cyclesSinceOrigin_);
  clock_ = runtime_.startCycles("device " + uid, nextDeadline_, [this](Duration due) { return cycle(due); });
}

}  // namespace sonmere
