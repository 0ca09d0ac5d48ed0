#pragma once

#include <string>

namespace sonmere {

// The version of what the service speaks. It rises when a method, parameter, member or notification that a
// client may go by changes its meaning or goes; what is only added leaves it.
inline constexpr int kControlProtocol = 1;

// Who answers.
struct ProgramGreeting {
  std::string version;  // of the program
  int protocol = kControlProtocol;
  int process = 0;
  std::string platform;
  std::string settings;  // path of the user's settings file
};

}  // namespace sonmere
