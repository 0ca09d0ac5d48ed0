#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// "sonmere preset": equalisers and routings as files to share.
void addPresetCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
