#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/Error.h"

namespace sonmere {

// What of the virtual driver is on the disk.
struct DriverOnDisk {
  enum class State {
    absent,
    partial,  // some of its files
    old,      // of another version of the program
    edited,   // somebody has changed it
    whole
  };
  State state = State::absent;
  std::string installedVersion;  // of the program that installed it; empty: unknown
  std::string bundledVersion;
  std::string place;                   // the folder that it lies in
  std::optional<std::string> problem;  // why nothing can be installed there, or taken away
};

constexpr const char* stateText(DriverOnDisk::State state) {
  switch (state) {
    case DriverOnDisk::State::absent:
      return "absent";
    case DriverOnDisk::State::partial:
      return "partial";
    case DriverOnDisk::State::old:
      return "old";
    case DriverOnDisk::State::edited:
      return "edited";
    case DriverOnDisk::State::whole:
      return "whole";
  }
  return "";
}

// What a change of the driver has done.
struct DriverChange {
  bool isChanged = false;          // else it was so before
  std::vector<std::string> notes;  // for the user
};

// Puts the virtual driver on the disk and takes it away: all of it or, where that fails, nothing. What a user
// has edited is kept beside. Threads: any that may wait, one at a time.
class DriverInstaller {
 public:
  virtual ~DriverInstaller() = default;
  virtual DriverOnDisk look() const = 0;
  // Mends what is there, too.
  virtual Outcome<DriverChange> install() = 0;
  virtual Outcome<DriverChange> remove() = 0;
};

}  // namespace sonmere
