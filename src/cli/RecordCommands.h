#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// Recordings of the running program. The command that was given leaves in `run` what it does.
void addRecordCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
