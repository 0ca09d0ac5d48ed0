#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// Adds the commands on the routing as a whole and on its buses; whichever is parsed sets `run` to its work.
void addRoutingCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
