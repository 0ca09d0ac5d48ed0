#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "dsp/AppEQSettings.h"
#include "dsp/LimiterSettings.h"

namespace sonmere {

// An input device that may be the microphone.
struct InputDeviceState {
  std::string id;  // UID
  std::string name;
  int channels = 0;
  bool isUsed = false;    // the microphone now
  bool isChosen = false;  // by the user
};

// A further input of the microphone's device.
struct ExtraInputState {
  std::string id;
  std::string name;
  int channel = 1;   // from 1
  float volume = 1;  // linear, 0 to 2
  bool isMuted = false;
  float pan = 0;  // -1 left to +1 right
  AppEQSettings equaliser;
};

// What the lock on the default input does.
struct InputLockState {
  bool isEnabled = false;
  std::string device;  // UID; empty: none was chosen
  std::string name;
  bool isPresent = false;
  bool isBackingOff = false;  // another program fights for the default
  int restores = 0;           // since the start
};

// The microphone and all that goes with it.
struct InputState {
  bool isEnabled = false;  // as the user wishes
  bool isRunning = false;
  bool isOnFallback = false;             // another device serves while the chosen one is gone
  std::optional<std::string> newDevice;  // the name of one that came up and may be wanted
  std::vector<InputDeviceState> devices;
  std::string channels;  // "auto", "1", "2", "stereo", or two numbers: "3,4"
  float volume = 1;      // linear, 0 to 2
  AppEQSettings equaliser;
  AppLimiterSettings limiter;
  std::map<int, float> sends;  // linear, by bus; those above nothing
  std::vector<ExtraInputState> extras;
  double captureRate = 0;  // Hz, while it runs
  double bridgeRate = 0;   // Hz, while it runs
  double addedDelayMs = 0;
  double driftPpm = 0;  // of the microphone's clock against the bridge's, while it is evened out
  InputLockState lock;
  std::optional<std::string> error;
};

struct InputChange {
  InputState input;
  std::vector<std::string> notes;
};

// What of the microphone moves by itself, in dB full scale.
struct InputMeters {
  float beforeDb = 0;  // rms of what was captured
  float afterDb = 0;   // rms of what the bridge gets
  float gainReductionDb = 0;
  std::vector<float> channelPeaks;          // of the device's channels, linear
  std::map<std::string, float> extraPeaks;  // linear, by identifier
};

}  // namespace sonmere
