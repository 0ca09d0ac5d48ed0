#include "dsp/kernels/PeakKernelTargets.h"

#if defined(__AVX2__)
#include "dsp/kernels/PeakLanes.h"

namespace sonmere {
namespace {
constexpr PeakKernels kHere = peakLanes<32>("avx2");
}
const PeakKernels* const kAVX2PeakKernels = &kHere;
}  // namespace sonmere
#else
namespace sonmere {
const PeakKernels* const kAVX2PeakKernels = nullptr;
}
#endif
