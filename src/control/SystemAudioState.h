#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// Whether what the system plays reaches an output and the bridge.
struct SystemAudioState {
  bool isEnabled = false;
  bool isFollowing = false;  // paired with whatever the user makes the default output
  bool isWhole = false;      // it is the default output, and reaches both
  std::string output;        // UID of the one that it is paired with; empty: none
  std::string outputName;
  struct Device {
    std::string id;  // UID
    std::string name;
    bool isChosen = false;
  };
  std::vector<Device> devices;    // that it can be paired with
  bool wasEndedByUpdate = false;  // it was switched off after an update, and stays so until it is switched on
  std::optional<std::string> error;
};

// What became of a change, and what is to be told of it.
struct SystemAudioChange {
  SystemAudioState system;
  std::vector<std::string> notes;
};

}  // namespace sonmere
