#pragma once

#include <string>

namespace sonmere {

// An effect that can be put into a chain.
struct AvailableEffect {
  std::string id;  // a URI
  std::string name;
  std::string manufacturer;
  std::string category;  // "Reverb"; empty when it names none
  // The file that holds its code, and what tells one version of that file from another.
  std::string file;
  std::string fileStamp;
  // Why it can't be hosted; empty when it can.
  std::string obstacle;
};

}  // namespace sonmere
