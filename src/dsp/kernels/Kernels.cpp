#include "dsp/kernels/Kernels.h"

#include <array>
#include <atomic>

#include "dsp/kernels/KernelTargets.h"

namespace sonmere {

namespace {

struct Available {
  std::array<const Kernels*, 5> list{};
  std::size_t count = 0;

  Available() {
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw"))
      add(kAVX512Kernels);
    if (__builtin_cpu_supports("avx2")) add(kAVX2Kernels);
    add(kSSE2Kernels);
#endif
    add(kNEONKernels);
    add(&kPlainKernels);
  }
  void add(const Kernels* kernels) {
    if (kernels) list[count++] = kernels;
  }
};

// Chosen when first asked, or before main by the line below, which is before any render.
const Available& available() {
  static const Available all;
  return all;
}
std::atomic<const Kernels*> current{available().list[0]};

}  // namespace

const Kernels& kernels() noexcept { return *current.load(std::memory_order_relaxed); }

std::span<const Kernels* const> availableKernels() { return {available().list.data(), available().count}; }

void chooseKernels(const Kernels* chosen) {
  current.store(chosen ? chosen : available().list[0], std::memory_order_relaxed);
}

}  // namespace sonmere
