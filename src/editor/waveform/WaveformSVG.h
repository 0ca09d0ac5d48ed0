#pragma once

#include <string>

#include "editor/waveform/WaveformLayout.h"

namespace sonmere {

// The picture as an SVG document; the same bytes for the same layout.
std::string waveformSVG(const WaveformLayout& layout);

}  // namespace sonmere
