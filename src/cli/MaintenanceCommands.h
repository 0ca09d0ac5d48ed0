#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// "sonmere settings export|import": the settings as one file.
void addSettingsTransfer(CLI::App& settings, std::function<int()>& run);
// "sonmere reset" and "sonmere uninstall": back to the start, and off this machine.
void addMaintenance(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
