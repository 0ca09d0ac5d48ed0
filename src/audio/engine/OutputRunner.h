#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "audio/device/OutputUnit.h"
#include "audio/engine/OutputFailure.h"
#include "audio/engine/PropertyListener.h"
#include "audio/engine/RenderContext.h"
#include "audio/engine/RenderServices.h"

namespace sonmere {

// One output unit that plays what a callback makes: made with roll-back, bound to the device that its plan
// asks for, watched, and ended through the tear-down queue. Main thread.
class OutputRunner {
 public:
  struct Property {
    AudioObjectID object = kAudioObjectUnknown;
    AudioProperty property;
  };
  struct Plan {
    // The device to play on, and the rate to play at there, in Hz, as they are to be now; nothing where they
    // can't be told.
    std::function<std::optional<AudioDeviceID>()> device;
    std::function<std::optional<double>(AudioDeviceID device)> rate;
    // Of float32, stereo unless the format is set otherwise. Its refcon is for RenderContext::of.
    RenderCallback callback = nullptr;
    // Just before the unit's format is set.
    std::function<std::shared_ptr<RenderContext>(AudioDeviceID device, double rate)> makeContext;
    // Sets another format than stereo at the context's rate.
    std::function<OSStatus(OutputUnit& unit, RenderContext& context)> setFormat = nullptr;
    // What device and rate depend on, beside the life and the rate of the device.
    std::function<std::vector<Property>()> alsoWatched = nullptr;
  };

  OutputRunner(RenderServices& services, Plan plan) : services_(services), plan_(std::move(plan)) {}
  ~OutputRunner() { stop(); }
  OutputRunner(const OutputRunner&) = delete;
  OutputRunner& operator=(const OutputRunner&) = delete;

  // Told while it runs: its device died, or the plan asks for another device or rate. It goes on until it is
  // stopped.
  std::function<void()> outdated;

  // Unless it runs. A failure leaves nothing behind.
  std::expected<void, OutputFailure> start();
  // Hands the unit to the tear-down queue; does not wait. Silent from the next block on.
  void stop();

  bool isRunning() const { return unit_ != nullptr; }
  // Of the unit while it runs, else none and 0.
  AudioDeviceID device() const { return device_; }
  double sampleRate() const { return context_ ? context_->sampleRate : 0; }
  // Whether what is rendered from now on is heard.
  bool isHeard() const { return unit_ && unit_->isHeard(); }
  // Whether a unit made now would be like this one.
  bool isAsPlanned() const;
  // None while it does not run.
  const std::shared_ptr<RenderContext>& context() const { return context_; }

 private:
  struct Built {
    // In this order: the unit goes before what its callback works on.
    std::shared_ptr<RenderContext> context;
    std::unique_ptr<OutputUnit> unit;
    AudioDeviceID device = kAudioObjectUnknown;
  };
  std::expected<Built, OutputFailure> build();
  std::optional<OutputFailure> bringUp(Built& built, double rate);
  void listen();

  RenderServices& services_;
  const Plan plan_;
  std::shared_ptr<RenderContext> context_;
  std::unique_ptr<OutputUnit> unit_;
  AudioDeviceID device_ = kAudioObjectUnknown;
  std::vector<PropertyListener> listeners_;
};

}  // namespace sonmere
