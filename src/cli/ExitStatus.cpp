#include "cli/ExitStatus.h"

#include <unistd.h>

#include <cstdio>

#include "base/StopSignals.h"

namespace sonmere {

void endAtOnce(int status) {
  const bool isWritten = std::fflush(stdout) == 0 && !std::ferror(stdout);
  _exit(isWritten ? endBySignalOrReturn(status) : kExitFailure);
}

int endBySignalOrReturn(int status) {
  if (status > kExitSignalled) endBySignal(status - kExitSignalled);
  return status;
}

}  // namespace sonmere
