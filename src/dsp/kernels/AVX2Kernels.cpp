#include "dsp/kernels/KernelTargets.h"

#if defined(__AVX2__)
#include "dsp/kernels/LaneKernels.h"

namespace sonmere {
namespace {
constexpr Kernels kHere = laneKernels<32>("avx2");
}
const Kernels* const kAVX2Kernels = &kHere;
}  // namespace sonmere
#else
namespace sonmere {
const Kernels* const kAVX2Kernels = nullptr;
}
#endif
