#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "audio/device/OutputUnit.h"
#include "dsp/SincResampler.h"

namespace sonmere {

// The part of an output unit that a device's cycle runs: conversion between the client's formats and the
// device's, and the callbacks. Settings are changed on the control side while no cycle runs.
class UnitRenderer {
 public:
  struct Settings {
    AudioDeviceID device = kAudioObjectUnknown;
    bool outputEnabled = true;
    bool inputEnabled = false;
    AudioStreamFormat playFormat;     // rate 0: the device's own
    AudioStreamFormat captureFormat;  // rate 0: the device's own
    std::vector<std::int32_t> channelMap;
    std::uint32_t maximumFrames = 0;  // 0: no limit
    RenderCallback renderCallback = nullptr;
    void* renderRefcon = nullptr;
    InputCallback inputCallback = nullptr;
    void* inputRefcon = nullptr;
    bool isInitialized = false;
    bool isStarted = false;
    std::uint64_t order = 0;
  };
  Settings settings;

  // Prepares for blocks of the device; keeps what is under way when nothing changed. Control side.
  void prepareOutput(std::uint32_t frames, const AudioStreamFormat& device);
  void prepareInput(std::uint32_t frames, const AudioStreamFormat& device);
  // The next start begins anew.
  void resetOutput() { output_ = {}; }
  void resetInput() { input_ = {}; }

  // The device's cycle: adds a block to the interleaved mix.
  void renderOutput(float* mix, std::uint64_t hostTime);
  // The device's cycle: hands on a block of the device's input.
  void deliverInput(const float* input, std::uint64_t hostTime);
  // Inside the input callback.
  OSStatus fetch(std::uint32_t frames, AudioBufferList buffers) noexcept;

 private:
  // One direction. `device` and `client` are blocks of that side's format.
  struct Direction {
    std::uint32_t frames = 0;
    AudioStreamFormat deviceFormat;
    AudioStreamFormat clientFormat;
    std::unique_ptr<SincResampler> resampler;
    std::vector<float> clientBlock;
    std::vector<float> converted;
    std::uint32_t clientCapacity = 0;  // frames in clientBlock
    double sampleTime = 0;
  };
  static AudioStreamFormat clientFormatFor(const AudioStreamFormat& wanted, const AudioStreamFormat& device);
  bool callClient(std::uint32_t frames, std::uint64_t hostTime);
  void addMapped(const float* client, float* mix) const;
  std::uint32_t maximumFrames() const { return settings.maximumFrames == 0 ? ~0u : settings.maximumFrames; }

  Direction output_;
  Direction input_;
  const float* fetchBlock_ = nullptr;
  std::uint32_t fetchFrames_ = 0;
};

}  // namespace sonmere
