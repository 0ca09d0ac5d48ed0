#pragma once

#include <string>

namespace sonmere {

// "sonmere report --archive": all that helps to find a fault, as a tar archive: the report, histories, apps,
// devices, routes, settings, the machine and the log. With a running program or without. What would tell
// strangers of the user is left out unless `isFull`. Returns the exit status. Main thread.
int archiveReport(const std::string& file, bool isFull, bool json);

}  // namespace sonmere
