#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// "sonmere update", "sonmere usage" and "sonmere feedback": what goes between the user and those who make the
// program, and only when the user says so.
void addCareCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
