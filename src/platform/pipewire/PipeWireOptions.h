#pragma once

#include <string>

namespace sonmere {

struct PipeWireOptions {
  // Name or absolute path of the server's socket; empty: the user's default server.
  std::string remote;
  // The program that lets apps go when this one hangs; empty: beside this program.
  std::string tapGuard;
};

}  // namespace sonmere
