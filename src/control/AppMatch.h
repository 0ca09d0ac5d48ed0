#pragma once

#include <string>
#include <vector>

#include "base/Error.h"

namespace sonmere {

struct AppName {
  std::string id;
  std::string name;
};

// The app that a text names: its identifier or name, or any part of them that fits no other app. Upper and
// lower case are one. The error lists the candidates where several fit.
Outcome<std::string> matchApp(const std::string& text, const std::vector<AppName>& apps);

// The same for other things that have an identifier and a name; errors call them by these words.
struct NameWords {
  const char* one;   // "input device"
  const char* many;  // "input devices"
};
Outcome<std::string> matchName(const std::string& text, const std::vector<AppName>& names,
                               const NameWords& words);

}  // namespace sonmere
