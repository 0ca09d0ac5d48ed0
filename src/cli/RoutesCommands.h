#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// "sonmere routes", which shows how every route fares, has them looked at or made anew; the exit status says
// how the worst of them is. As addRemoteCommands. Main thread.
void addRoutesCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
