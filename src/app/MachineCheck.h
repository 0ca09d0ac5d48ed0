#pragma once

#include <string>
#include <vector>

#include "app/MachineFacts.h"

namespace sonmere {

// One thing that was looked at.
struct MachineFinding {
  enum class Verdict { right, improvable, wrong };
  std::string id;  // "server", "driver", …
  Verdict verdict = Verdict::right;
  std::string text;
  std::string command;  // what mends it; may be empty
};

constexpr const char* verdictText(MachineFinding::Verdict verdict) {
  switch (verdict) {
    case MachineFinding::Verdict::right:
      return "right";
    case MachineFinding::Verdict::improvable:
      return "improvable";
    case MachineFinding::Verdict::wrong:
      return "wrong";
  }
  return "";
}

// All that there is to say of the machine, always in the same order. What can't be told because something
// else is wrong is left out.
std::vector<MachineFinding> checkMachine(const MachineFacts& machine);

}  // namespace sonmere
