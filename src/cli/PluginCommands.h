#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// Adds the commands on plug-ins and their chains; whichever is parsed sets `run` to its work.
void addPluginCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
