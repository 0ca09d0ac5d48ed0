#pragma once

#include "dsp/kernels/Kernels.h"

namespace sonmere {

// What Kernels.cpp chooses from. A target that this build is not for is null.
extern const Kernels kPlainKernels;
extern const Kernels* const kSSE2Kernels;
extern const Kernels* const kAVX2Kernels;
extern const Kernels* const kAVX512Kernels;
extern const Kernels* const kNEONKernels;

}  // namespace sonmere
