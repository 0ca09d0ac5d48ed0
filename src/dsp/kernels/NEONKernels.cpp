#include "dsp/kernels/KernelTargets.h"

#if defined(__aarch64__)
#include "dsp/kernels/LaneKernels.h"

namespace sonmere {
namespace {
constexpr Kernels kHere = laneKernels<16>("neon");
}
const Kernels* const kNEONKernels = &kHere;
}  // namespace sonmere
#else
namespace sonmere {
const Kernels* const kNEONKernels = nullptr;
}
#endif
