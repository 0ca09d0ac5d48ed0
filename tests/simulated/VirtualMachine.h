#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/VirtualRuntime.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"

namespace sonmere {

// A simulated machine in virtual time, with its log.
struct VirtualMachine {
  explicit VirtualMachine(std::uint64_t seed = 1, SimulatedOptions options = {})
      : runtime(seed), platform(runtime, log, std::move(options)) {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }

  SimulatedHost& host() { return platform.host(); }
  AudioHardware& hardware() { return platform.hardware(); }
  AudioDeviceID device(const std::string& uid) { return hardware().deviceForUID(uid).value(); }
  void run(double seconds) { runtime.advance(fromSeconds(seconds)); }

  Log log;
  std::vector<std::string> lines;
  VirtualRuntime runtime;
  SimulatedPlatform platform;
};

inline SimulatedDeviceDescription speakers(const std::string& uid, double ppm = 0, double rate = 48000) {
  SimulatedDeviceDescription description;
  description.uid = uid;
  description.name = uid;
  description.clockErrorPpm = ppm;
  description.nominalRate = rate;
  return description;
}

inline SimulatedAppDescription program(const std::string& bundleID) {
  SimulatedAppDescription description;
  description.bundleID = bundleID;
  description.name = bundleID;
  return description;
}

// A tap in an aggregate whose I/O procedure keeps all that it is given.
class TapProbe {
 public:
  TapProbe(AudioHardware& hardware, std::vector<AudioObjectID> processes, TapMute mute,
           bool exclusive = false)
      : hardware_(hardware) {
    TapDescription description{"probe", std::move(processes), true, exclusive, mute};
    tap = hardware_.createProcessTap(description).value();
    AggregateDescription aggregateDescription;
    aggregateDescription.uid = "probe " + std::to_string(tap);
    aggregateDescription.tapUIDs = {hardware_.tapUID(tap).value()};
    aggregate = hardware_.createAggregateDevice(aggregateDescription).value();
    procedure = hardware_.createIOProc(aggregate, &TapProbe::take, this).value();
  }
  ~TapProbe() {
    hardware_.stopDevice(aggregate, procedure);
    hardware_.destroyIOProc(aggregate, procedure);
    hardware_.destroyAggregateDevice(aggregate);
    hardware_.destroyProcessTap(tap);
  }
  OSStatus start() { return hardware_.startDevice(aggregate, procedure); }
  OSStatus stop() { return hardware_.stopDevice(aggregate, procedure); }

  AudioObjectID tap = 0;
  AudioDeviceID aggregate = 0;
  IOProcID procedure = 0;
  std::vector<float> samples;
  std::vector<std::uint32_t> blockFrames;

 private:
  static OSStatus take(void* self, const AudioTimeStamp&, AudioBufferList input, AudioBufferList) noexcept {
    auto& probe = *static_cast<TapProbe*>(self);
    if (input.size() != 1 || input[0].channels != 2) return kAudioHardwareUnspecifiedError;
    const std::size_t count = input[0].byteSize / sizeof(float);
    probe.samples.insert(probe.samples.end(), input[0].data, input[0].data + count);
    probe.blockFrames.push_back(std::uint32_t(count / 2));
    return noErr;
  }
  AudioHardware& hardware_;
};

// An output unit that plays a source, in its client format.
class PlayingUnit {
 public:
  PlayingUnit(AudioHardware& hardware, AudioDeviceID device, std::unique_ptr<SampleSource> source,
              AudioStreamFormat format = {48000, 2}, std::vector<std::int32_t> map = {})
      : source_(std::move(source)), unit(hardware.newOutputUnit().value()) {
    source_->setSampleRate(format.sampleRate);
    EXPECT_EQ(unit->setCurrentDevice(device), noErr);
    EXPECT_EQ(unit->setStreamFormat(AudioScope::input, format), noErr);
    if (!map.empty()) {
      EXPECT_EQ(unit->setChannelMap(std::move(map)), noErr);
    }
    EXPECT_EQ(unit->setRenderCallback(&PlayingUnit::render, this), noErr);
    EXPECT_EQ(unit->initialize(), noErr);
  }

 private:
  static OSStatus render(void* self, const AudioTimeStamp&, std::uint32_t frames,
                         AudioBufferList buffers) noexcept {
    auto& playing = *static_cast<PlayingUnit*>(self);
    playing.blockFrames.push_back(frames);
    playing.source_->render(buffers[0].data, frames);
    return noErr;
  }
  std::unique_ptr<SampleSource> source_;

 public:
  std::vector<std::uint32_t> blockFrames;
  std::unique_ptr<OutputUnit> unit;
};

// An input unit that keeps all that it captures.
class CapturingUnit {
 public:
  CapturingUnit(AudioHardware& hardware, AudioDeviceID device, AudioStreamFormat format)
      : format_(format), block_(16384 * format.channels), unit(hardware.newOutputUnit().value()) {
    EXPECT_EQ(unit->setEnableIO(AudioScope::input, true), noErr);
    EXPECT_EQ(unit->setEnableIO(AudioScope::output, false), noErr);
    EXPECT_EQ(unit->setCurrentDevice(device), noErr);
    EXPECT_EQ(unit->setStreamFormat(AudioScope::output, format), noErr);
    EXPECT_EQ(unit->setInputCallback(&CapturingUnit::take, this), noErr);
    EXPECT_EQ(unit->initialize(), noErr);
  }

 private:
  static OSStatus take(void* self, const AudioTimeStamp& now, std::uint32_t bus,
                       std::uint32_t frames) noexcept {
    auto& capturing = *static_cast<CapturingUnit*>(self);
    EXPECT_EQ(bus, 1u);
    const auto bytes = std::uint32_t(frames * capturing.format_.channels * sizeof(float));
    AudioBuffer buffer{capturing.format_.channels, bytes, capturing.block_.data()};
    const OSStatus status = capturing.unit->render(now, frames, {&buffer, 1});
    if (status == noErr)
      capturing.samples.insert(capturing.samples.end(), capturing.block_.data(),
                               capturing.block_.data() + std::size_t(frames) * capturing.format_.channels);
    return status;
  }
  AudioStreamFormat format_;
  std::vector<float> block_;

 public:
  std::vector<float> samples;
  std::unique_ptr<OutputUnit> unit;
};

}  // namespace sonmere
