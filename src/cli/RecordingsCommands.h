#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// The commands on recordings and other audio files; they need no running program. Each becomes a subcommand
// of `app`, and sets `run` when it is parsed. `run` returns the exit status. Main thread.
void addRecordingsCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
