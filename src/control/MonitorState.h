#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// A device that the monitor can play on.
struct MonitorDeviceState {
  std::string id;  // UID
  std::string name;
  bool isUsed = false;    // the monitor plays there now
  bool isChosen = false;  // by the user
};

// An app or a bus as the monitor hears it.
struct MonitorAppState {
  std::string id;
  std::string name;
  bool isEnabled = false;  // as the user wishes
  bool isHeard = false;    // it is routed, and the monitor is on
  float volume = 1;        // linear, on the monitor
  bool isLinked = true;    // that volume follows the app's
};
struct MonitorBusState {
  int bus = 0;
  std::string name;  // "Bridge", "Track 1"
  bool isEnabled = false;
  float volume = 1;  // linear, 0 to 1
};

// What of the virtual devices the user hears, and on which device.
struct MonitorState {
  bool isEnabled = true;  // off: nothing of what is wished for below is heard
  bool isRunning = false;
  bool isFollowing = true;  // the system's default output
  std::string device;       // the name of the one that is chosen, or followed
  double sampleRate = 0;    // Hz, while it runs
  std::vector<MonitorDeviceState> devices;
  std::vector<MonitorAppState> apps;
  std::vector<MonitorBusState> buses;
  bool hearsMicrophone = false;  // as the user wishes
  bool isMicrophoneHeard = false;
  float microphoneVolume = 1;  // linear, 0 to 2
  std::optional<std::string> error;
};

// What became of a change, and what is to be told of it.
struct MonitorChange {
  MonitorState monitor;
  std::vector<std::string> notes;
};

}  // namespace sonmere
