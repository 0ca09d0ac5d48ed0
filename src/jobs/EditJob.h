#pragma once

#include <optional>
#include <string>

#include "base/Error.h"
#include "editor/export/ExportFormat.h"
#include "editor/export/Loudness.h"
#include "editor/track/MixTrackInput.h"
#include "jobs/ExportTarget.h"
#include "jobs/JobContext.h"
#include "jobs/TrackChange.h"

namespace sonmere {

// A new file of a part of one, with fades and gain; or only how loud that would be.
struct EditRequest {
  std::string file;  // stays as it is
  TrackChange change = {};
  std::optional<ExportTarget> save = {};
  ExportFormat format = {};  // of the new file; its samples are as fine as those of the old one
  bool measuresLoudness = false;
};

struct EditResult {
  MixTrackInput track;               // as it was edited
  std::optional<Loudness> loudness;  // of what that gives
};

Outcome<EditResult> runEdit(const EditRequest& request, const JobContext& context);

}  // namespace sonmere
