#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sonmere {

// The device of all Tracks, and several inputs as one.
struct DAWState {
  bool isEnabled = false;  // as the user wishes
  bool isPresent = false;
  std::string device;  // UID
  std::string name;    // as the server has it, while it is there
  int inputs = 0;      // channels
  int outputs = 0;
  std::optional<std::string> error;

  struct Member {
    std::string id;  // UID
    std::string name;
    int channels = 0;  // 0: it is away
    int first = 1;     // its first channel there, from 1 on
  };
  struct Combined {
    std::string device;  // UID
    std::string name;
    bool isPresent = false;
    std::vector<Member> members;
    std::optional<std::string> error;
  };
  std::optional<Combined> combined;  // nothing is combined
};

// What became of a change, and what is to be told of it.
struct DAWChange {
  DAWState daw;
  std::vector<std::string> notes;
};

}  // namespace sonmere
