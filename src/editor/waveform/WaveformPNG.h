#pragma once

#include <string>

#include "editor/waveform/WaveformColours.h"
#include "editor/waveform/WaveformLayout.h"

namespace sonmere {

// The picture as the bytes of a PNG file; the same for the same layout.
Outcome<std::string> waveformPNG(const WaveformLayout& layout, const WaveformColours& colours = {});

}  // namespace sonmere
