#pragma once

#include <string>

#include "editor/waveform/WaveformColours.h"
#include "editor/waveform/WaveformLayout.h"

namespace sonmere {

// The picture as an SVG document; the same bytes for the same layout.
std::string waveformSVG(const WaveformLayout& layout, const WaveformColours& colours = {});

}  // namespace sonmere
