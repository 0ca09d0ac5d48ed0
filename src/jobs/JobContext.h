#pragma once

#include "base/Log.h"
#include "base/Runtime.h"
#include "editor/export/ExportProgress.h"

namespace sonmere {

// What a job works with. The progress is this job's alone: it is told how far the work is and what the user
// should know of it, and once it is cancelled the job ends early with an error of kExportCancelledDomain and
// nothing half done. A job runs on any one thread that may wait for a disk; jobs may run side by side.
struct JobContext {
  Runtime& runtime;
  Log& log;
  ExportProgress& progress;
};

}  // namespace sonmere
