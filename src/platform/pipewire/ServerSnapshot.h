#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/Time.h"

namespace sonmere {

// What a server has at one moment, asked for by a connection of its own.
struct ServerSnapshot {
  struct Node {
    std::uint32_t id = 0;
    std::string name, description, mediaClass;
  };
  bool answers = false;
  std::string reason;   // why not
  std::string version;  // of the server
  std::vector<Node> nodes;
  std::vector<std::string> clients;             // what programs call themselves
  std::map<std::string, std::string> settings;  // "clock.rate", "clock.quantum", …
  std::map<std::string, std::string>
      defaults;  // "default.audio.sink", "default.configured.audio.sink", …: names
};

// What a visit is for, besides looking.
struct SnapshotWish {
  // What is default by somebody's choice, and bears such a name, is the session's to choose again.
  std::function<bool(const std::string& name)> letsGoOf;
  // Stays until what is there is so, or the time is over.
  std::function<bool(const ServerSnapshot&)> until;
};

// `remote` as for PipeWireOptions. Threads: any that may wait.
ServerSnapshot takeServerSnapshot(const std::string& remote, Duration timeout, const SnapshotWish& wish = {});

}  // namespace sonmere
