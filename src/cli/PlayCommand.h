#pragma once

#include "cli/RecordingsCommand.h"

namespace sonmere {

// "sonmere recordings play": one after the other on the default output, until the last has ended or Ctrl-C.
// Returns the exit status. Main thread.
int runRecordingsPlay(const RecordingsArguments& arguments);

}  // namespace sonmere
