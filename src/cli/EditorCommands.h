#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// The commands that look at and edit audio files; they need no running program. Each becomes a subcommand of
// `app`, and sets `run` when it is parsed. `run` returns the exit status. Main thread.
void addEditorCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
