#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// The devices that the program makes of others; `run` becomes what the parsed command does.
void addSystemCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
