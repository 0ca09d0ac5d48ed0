#pragma once

#include <string>

namespace sonmere {

struct InfoArguments {
  std::string file;
  bool json = false;
};

// "sonmere info": what an audio file is and how loud. Returns the exit status. Main thread.
int runInfoCommand(const InfoArguments& arguments);

}  // namespace sonmere
