#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// "sonmere rule": what is done by itself while an app runs, a device is there or the microphone is on.
void addRuleCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
