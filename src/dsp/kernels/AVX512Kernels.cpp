#include "dsp/kernels/KernelTargets.h"

#if defined(__AVX512F__) && defined(__AVX512DQ__)
#include "dsp/kernels/LaneKernels.h"

namespace sonmere {
namespace {
constexpr Kernels kHere = laneKernels<64>("avx512");
}
const Kernels* const kAVX512Kernels = &kHere;
}  // namespace sonmere
#else
namespace sonmere {
const Kernels* const kAVX512Kernels = nullptr;
}
#endif
