#pragma once

#include "dsp/kernels/PeakKernels.h"

namespace sonmere {

// What PeakKernels.cpp chooses from. A target that this build is not for is null.
extern const PeakKernels kPlainPeakKernels;
extern const PeakKernels* const kBasePeakKernels;  // 16 bytes: SSE2, NEON
extern const PeakKernels* const kAVX2PeakKernels;

}  // namespace sonmere
