#pragma once

#include <array>

#include "dsp/SpectrumRing.h"

namespace sonmere {

// What an equaliser's display shows: the level of each of 128 bands, spaced logarithmically from 10 Hz to
// 24 kHz as the equaliser's curve is. dB full scale: a sine that fills the scale has 0 in its band. -120 at
// least, and where the rate has no such frequencies.
inline constexpr std::size_t kSpectrumBands = 128;
inline constexpr double kSpectrumLowHz = 10, kSpectrumHighHz = 24000;
inline constexpr float kSpectrumFloorDb = -120;
using Spectrum = std::array<float, kSpectrumBands>;

// Of what the ring holds now, at this rate in Hz. Threads: any but a render thread.
Spectrum spectrumOf(const SpectrumRing& ring, double sampleRate);

}  // namespace sonmere
