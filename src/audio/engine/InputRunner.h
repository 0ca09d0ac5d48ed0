#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "audio/device/OutputUnit.h"
#include "audio/engine/OutputFailure.h"
#include "audio/engine/RenderContext.h"
#include "audio/engine/RenderServices.h"

namespace sonmere {

// What the callback of one input unit works on. Lives until the unit is gone.
struct InputContext : RenderContext {
  using RenderContext::RenderContext;
  OutputUnit* unit = nullptr;  // that the blocks are fetched from; set before it starts
};

// One unit that hears a device and tells a callback of each block: made with roll-back, ended through the
// tear-down queue. Main thread.
class InputRunner {
 public:
  struct Plan {
    // Its refcon is for RenderContext::of.
    InputCallback callback = nullptr;
    std::uint32_t framesPerSlice = 4096;  // of the longest block
    // What `render` is to deliver, of a unit that is bound to the device.
    std::function<AudioStreamFormat(const OutputUnit& unit, AudioDeviceID device)> format;
    std::function<std::shared_ptr<InputContext>(const AudioStreamFormat& format)> makeContext;
  };

  InputRunner(RenderServices& services, Plan plan) : services_(services), plan_(std::move(plan)) {}
  ~InputRunner() { stop(); }
  InputRunner(const InputRunner&) = delete;
  InputRunner& operator=(const InputRunner&) = delete;

  // A unit that only has to be started, in place of one that there is. A failure leaves nothing behind, here
  // and below.
  std::expected<void, OutputFailure> make(AudioDeviceID device);
  std::expected<void, OutputFailure> start();
  // Hands the unit to the tear-down queue; does not wait. Nothing is fetched from the next block on.
  void stop();

  bool isMade() const { return unit_ != nullptr; }
  // Of the unit, else none.
  AudioDeviceID device() const { return device_; }
  // None without a unit.
  const std::shared_ptr<InputContext>& context() const { return context_; }

 private:
  std::optional<OutputFailure> bringUp(OutputUnit& unit, AudioDeviceID device);

  RenderServices& services_;
  const Plan plan_;
  // In this order: the unit goes before what its callback works on.
  std::shared_ptr<InputContext> context_;
  std::unique_ptr<OutputUnit> unit_;
  AudioDeviceID device_ = kAudioObjectUnknown;
};

}  // namespace sonmere
