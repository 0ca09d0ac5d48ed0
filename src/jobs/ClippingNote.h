#pragma once

#include "editor/export/ExportFormat.h"
#include "editor/export/ExportProgress.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// Whether a file of this form keeps what is beyond full scale.
bool holdsAllLevels(const ExportFormat& format, RecordingBitDepth depth);
// Notes that the export that was made did not hold its loudest samples, if so.
void noteClipping(const ExportFormat& format, RecordingBitDepth depth, ExportProgress& progress);

}  // namespace sonmere
