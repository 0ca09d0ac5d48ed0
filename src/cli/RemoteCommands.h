#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// The commands that talk to the program that runs: each becomes a subcommand of `app`, and sets `run` when it
// is parsed. `run` returns the exit status. Main thread.
void addRemoteCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
