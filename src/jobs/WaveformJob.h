#pragma once

#include <optional>
#include <string>

#include "editor/track/WaveformEnvelope.h"
#include "editor/waveform/WaveformLayout.h"
#include "jobs/ExportTarget.h"
#include "jobs/JobContext.h"
#include "jobs/TimeRange.h"

namespace sonmere {

// Pictures of a part of a file.
struct WaveformRequest {
  std::string file;
  TimeRange view = {};
  std::optional<ExportTarget> png = {}, svg = {};
  int width = 1200, height = 300;  // pixels
  WaveformLayout::Scale scale = WaveformLayout::Scale::linear;
  bool isLight = false;    // the ground
  std::string title = {};  // in the picture
};

struct WaveformResult {
  TrimRange view;  // what was drawn
  WaveformEnvelope envelope;
};

// Of a file whose end can't be read that is drawn as silence, and noted.
Outcome<WaveformResult> drawWaveform(const WaveformRequest& request, const JobContext& context);

}  // namespace sonmere
