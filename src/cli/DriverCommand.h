#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace sonmere {

// "sonmere driver": the ten virtual devices of this user's audio server, on the disk and in the server that
// runs. Only the rate needs the running program. As addRemoteCommands. Main thread.
void addDriverCommands(CLI::App& app, std::function<int()>& run);

}  // namespace sonmere
