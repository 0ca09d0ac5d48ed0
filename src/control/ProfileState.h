#pragma once

#include <string>
#include <vector>

namespace sonmere {

// One saved routing.
struct ProfileState {
  std::string id;
  std::string name;
  std::vector<std::string> apps;
};

}  // namespace sonmere
