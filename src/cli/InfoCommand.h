#pragma once

#include <string>
#include <vector>

namespace sonmere {

struct InfoArguments {
  std::vector<std::string> files;
  bool loudness = false;
  bool json = false;
};

// "sonmere info": what audio files are, and how loud. Returns the exit status. Main thread.
int runInfoCommand(const InfoArguments& arguments);

}  // namespace sonmere
