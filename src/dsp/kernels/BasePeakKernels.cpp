#include "dsp/kernels/PeakKernelTargets.h"

#if defined(__SSE2__) || defined(__ARM_NEON)
#include "dsp/kernels/PeakLanes.h"

namespace sonmere {
namespace {
#if defined(__ARM_NEON)
constexpr PeakKernels kHere = peakLanes<16>("neon");
#else
// Without an instruction that moves single bytes, three of them are no faster in registers.
void find24(const std::uint8_t* samples, std::size_t channels, std::size_t frames, std::size_t bins,
            float* const* pairs) noexcept {
  kPlainPeakKernels.int24(samples, channels, frames, bins, pairs);
}
constexpr PeakKernels kHere = {"sse2", find<Int16Samples, 16>, find24, find<Float32Samples, 16>,
                               findSignedPeaks<16>};
#endif
}  // namespace
const PeakKernels* const kBasePeakKernels = &kHere;
}  // namespace sonmere
#else
namespace sonmere {
const PeakKernels* const kBasePeakKernels = nullptr;
}
#endif
