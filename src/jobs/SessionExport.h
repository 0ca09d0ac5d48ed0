#pragma once

#include <optional>
#include <string>
#include <vector>

#include "editor/export/ExportFormat.h"
#include "jobs/ExportTarget.h"
#include "jobs/OpenSession.h"
#include "jobs/TrackChange.h"
#include "recording/RecordingBitDepth.h"

namespace sonmere {

// The mix of a session's tracks that are heard, or each track by itself.
struct SessionExportRequest {
  enum class Kind { mix, stems };
  Kind kind = Kind::mix;
  ExportTarget out = {};  // the file of the mix, or the folder of the stems, which replace nothing
  ExportFormat format = {};
  RecordingBitDepth depth = RecordingBitDepth::int16;  // of WAV and FLAC
  // Of the whole export, on top of the tracks' own gains; a mix may be normalised instead.
  std::optional<double> gainDb = {};
  std::optional<Normalising> normalising = {};
};

// An export in two steps, so that what will be clipped can be told before the long one. Threads: any that may
// wait.
class SessionExport {
 public:
  SessionExport(OpenSession open, SessionExportRequest request, const JobContext& context)
      : open_(std::move(open)), request_(std::move(request)), context_(context) {}

  // Checks all that would be found only after much work, and finds the gain.
  Outcome<void> prepare();
  // The paths of the files: all of them are made, or none.
  Outcome<std::vector<std::string>> write();

 private:
  bool isMix() const { return request_.kind == SessionExportRequest::Kind::mix; }
  Outcome<void> check() const;
  Outcome<float> gain();
  Outcome<float> normalisingGain(const Normalising& normalising);
  Outcome<float> mixPeak();
  Outcome<void> foretellClipping();

  OpenSession open_;
  const SessionExportRequest request_;
  const JobContext context_;
};

}  // namespace sonmere
