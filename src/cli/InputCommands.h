#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// Adds the commands on the microphone, its additional inputs and the lock on the default input; whichever is
// parsed sets `run` to its work.
void addInputCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
