#pragma once

#include "cli/Completion.h"

namespace sonmere {

// The words of the user's world: apps, buses and profiles of the program that runs, sessions and settings of
// the disk; of a plug-in in a chain, what the words before name. What can't be asked has none; nothing is
// told, started, mended or changed. Main thread.
std::vector<CompletionReply::Candidate> completionSource(const std::string& kind,
                                                         const CompletionGiven& given);

}  // namespace sonmere
