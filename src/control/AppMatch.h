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

}  // namespace sonmere
