#pragma once

namespace sonmere {

// "sonmere watch": the apps with their levels whenever something changes, in place on a terminal, else as
// plain lines or JSON. Ends after `count` updates, 0 for never. Returns the exit status.
int runWatchCommand(bool json, int count);

}  // namespace sonmere
