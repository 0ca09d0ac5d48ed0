#pragma once

#include "cli/Completion.h"

namespace sonmere {

// The words of the user's world: apps, buses and profiles of the program that runs, sessions and settings of
// the disk. What can't be asked has none; nothing is told, started, mended or changed. Main thread.
std::vector<CompletionReply::Candidate> completionSource(const std::string& kind);

}  // namespace sonmere
