#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/device/DriverInstaller.h"

namespace sonmere {

// What the program's work depends on in a user's machine and session, as they are found.
struct MachineFacts {
  struct Limit {
    std::int64_t soft = kUnlimited, hard = kUnlimited;
  };
  static constexpr std::int64_t kUnlimited = -1;

  bool isRoot = false;
  bool hasHome = true;
  std::string runtimeFolder;     // of the session; empty: it has none
  std::string programOfServer;   // path of the server's program; empty: not installed
  std::string programOfManager;  // of the session manager's
  std::string otherServer;       // another sound server that runs for this user; empty: none
  bool serverAnswers = false;
  std::string serverReason;  // why not
  std::string serverVersion;
  bool hasSessionManager = false;
  std::string defaultOutput;   // its name; empty: none
  bool isDefaultThere = true;  // the server has a device of that name
  std::string defaultLabel;    // what users read of it
  double sampleRate = 0;       // Hz; 0: unknown
  int quantum = 0;             // frames; 0: unknown
  DriverOnDisk driver;
  int driverDevices = 0;           // of the ten, in the running server
  Limit realtimePriority{0, 0};    // the highest that the user's programs may take by themselves
  Limit realtimeTime;              // microseconds without a pause
  bool hasRealtimeHelper = false;  // a service that gives programs real-time priority
  std::vector<std::string> groups;
  bool isProgramRunning = false;
  std::vector<std::string> leftovers;  // files that a run which ended badly has left
};

}  // namespace sonmere
