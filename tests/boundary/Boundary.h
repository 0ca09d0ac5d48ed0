#pragma once

// What the stories of the contract share: a machine of each platform, and ears in its I/O procedures.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>

#include "BoundaryMachine.h"
#include "audio/engine/TapAggregate.h"

namespace sonmere {

constexpr const char* kPlayer = "pw-play";
inline const std::string kTrack = "ToneFerry_UID_Track_";

// What an I/O procedure was given last, on each channel, and how long its cycles are. Audio thread writes.
struct Ear {
  std::array<std::atomic<float>, 32> input{};
  std::atomic<std::uint32_t> inputChannels{0}, outputChannels{0}, frames{0};
  std::atomic<int> cycles{0};
  std::atomic<std::int64_t> passed{0};  // frames
  std::atomic<bool> plays{false};

  static OSStatus run(void* refcon, const AudioTimeStamp&, AudioBufferList in, AudioBufferList out) noexcept {
    auto& ear = *static_cast<Ear*>(refcon);
    if (!in.empty() && in[0].data && in[0].channels > 0) {
      ear.inputChannels = in[0].channels;
      ear.frames = in[0].byteSize / 4 / in[0].channels;
      for (std::uint32_t i = 0; i < std::min(in[0].channels, 32u); ++i) ear.input[i] = in[0].data[i];
    }
    if (!out.empty() && out[0].data && out[0].channels > 0) {
      ear.outputChannels = out[0].channels;
      // A different value on each channel.
      for (std::uint32_t i = 0; ear.plays && i < out[0].byteSize / 4; ++i)
        out[0].data[i] = float(i % out[0].channels + 1) / 64;
    }
    ear.cycles = ear.cycles + 1;
    ear.passed += ear.frames;
    return noErr;
  }
  bool hears(std::size_t channel, float value) const { return std::abs(input[channel] - value) < 1e-3f; }
};

// An I/O procedure on a device, running while this exists.
struct Running {
  Running(AudioHardware& itsHardware, AudioDeviceID itsDevice, Ear& ear)
      : hardware(itsHardware), device(itsDevice) {
    procedure = hardware.createIOProc(device, Ear::run, &ear).value_or(0);
    status = hardware.startDevice(device, procedure);
  }
  ~Running() {
    hardware.stopDevice(device, procedure);
    hardware.destroyIOProc(device, procedure);
  }
  AudioHardware& hardware;
  const AudioDeviceID device;
  IOProcID procedure = 0;
  OSStatus status = noErr;
};

inline AggregateDescription aggregateOf(std::vector<std::string> uids) {
  AggregateDescription description;
  description.uid = "aggregate";
  description.name = "Aggregate";
  for (auto& uid : uids) description.subDevices.push_back({std::move(uid), true});
  return description;
}

using NewMachine = std::unique_ptr<BoundaryMachine> (*)();

struct Boundary : testing::TestWithParam<NewMachine> {
  void SetUp() override {
    ASSERT_EQ(machine->problem(), "");
    ASSERT_TRUE(machine->until([&] {
      for (const std::string& uid : {kTrack + "8", machine->speakerUID(), machine->microphoneUID()})
        if (machine->device(uid) == kAudioObjectUnknown) return false;
      return true;
    }));
    // The session takes a moment until it has a default device that can be chosen.
    ASSERT_TRUE(machine->until([&] {
      return hardware.setDefaultDevice(DefaultDevice::output, machine->device(machine->speakerUID())) ==
             noErr;
    }));
  }

  // A tap in its aggregate, running; destroyed by the caller.
  std::expected<TapAggregate, TapAggregateFailure> tap(TapDescription description, Ear& ear,
                                                       const std::string& name = "tap") {
    TapAggregatePlan plan;
    plan.tap = std::move(description);
    plan.tap.name = name;
    plan.aggregateUID = "aggregate of " + name;
    plan.procedure = Ear::run;
    plan.clientData = &ear;
    return buildTapAggregate(hardware, machine->runtime(), plan);
  }
  std::vector<std::uint32_t> channels(AudioDeviceID device, AudioScope scope) {
    return hardware.streamConfiguration(device, scope).value_or(std::vector<std::uint32_t>{99});
  }

  std::unique_ptr<BoundaryMachine> machine = GetParam()();
  AudioHardware& hardware = machine->hardware();
};

}  // namespace sonmere
