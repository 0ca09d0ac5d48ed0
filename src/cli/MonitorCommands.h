#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// What the user hears of the virtual devices. The command that was given leaves in `run` what it does.
void addMonitorCommands(CLI::App& app, std::function<int()>& run);
// Of the microphone, for the command that begins with this word: "on", "off" or a volume.
int hearMicrophone(const char* command, const std::string& what, bool json);

}  // namespace sonmere
