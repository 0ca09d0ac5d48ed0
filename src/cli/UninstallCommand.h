#pragma once

namespace sonmere {

// "sonmere uninstall": what the program has put where. Removes it only with `isMeant`, once the program that
// runs has ended. Returns the exit status. Main thread.
int runUninstall(bool isDryRun, bool isMeant, bool json);

}  // namespace sonmere
