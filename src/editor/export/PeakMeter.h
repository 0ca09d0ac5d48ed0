#pragma once

#include "base/Error.h"

namespace sonmere {

class BlockSource;
class ExportProgress;

// The largest magnitude of a source, which is read to its end; `progress` may end it early. Threads: one at a
// time.
Outcome<float> measurePeak(BlockSource& source, ExportProgress& progress);

}  // namespace sonmere
