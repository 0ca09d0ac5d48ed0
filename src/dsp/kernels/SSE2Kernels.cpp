#include "dsp/kernels/KernelTargets.h"

#if defined(__SSE2__)
#include "dsp/kernels/LaneKernels.h"

namespace sonmere {
namespace {
constexpr Kernels kHere = laneKernels<16>("sse2");
}
const Kernels* const kSSE2Kernels = &kHere;
}  // namespace sonmere
#else
namespace sonmere {
const Kernels* const kSSE2Kernels = nullptr;
}
#endif
