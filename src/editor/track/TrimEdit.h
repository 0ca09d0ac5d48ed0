#pragma once

#include <cstdint>

#include "editor/track/TrimRange.h"
#include "editor/track/WaveformEnvelope.h"

namespace sonmere {

// The edits of a range. Each keeps 0 <= start < end <= total, fades within the length, and a gain from 0 to
// 16; what is asked for beyond is held to that.
namespace TrimEdit {

// The most a gain can be, about +24 dB.
inline constexpr float kMaximumGain = 16;

TrimRange withStart(TrimRange range, std::int64_t frame);
TrimRange withEnd(TrimRange range, std::int64_t frame);
TrimRange withFadeIn(TrimRange range, std::int64_t frames);
TrimRange withFadeOut(TrimRange range, std::int64_t frames);
// Linear; what is no number changes nothing.
TrimRange withGain(TrimRange range, double gain);
// Any fields whatever, for the given file; all of one without frames.
TrimRange held(TrimRange range, std::int64_t totalFrames, double sampleRate);

double gainOfDecibels(double decibels);
// The gain with which this peak reaches -0.5 dBFS; `otherwise` where there is none, or no end of it.
float normalizingGain(float peak, float otherwise);
// The gain with which the peak of the range reaches -0.5 dBFS; that of the range where it is silent.
float normalizingGain(const TrimRange& range, const WaveformEnvelope& envelope);

}  // namespace TrimEdit
}  // namespace sonmere
