#pragma once

#include <cstdint>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

namespace sonmere {

// For its life, subnormal results of float32 arithmetic on this thread are zero: filters that ring out into
// silence would otherwise cost many times a normal block. Audio threads only.
class FlushToZero {
 public:
#if defined(__SSE__)
  FlushToZero() : saved_(_mm_getcsr()) {
    constexpr unsigned kFlushToZero = 0x8000, kDenormalsAreZero = 0x0040;
    _mm_setcsr(saved_ | kFlushToZero | kDenormalsAreZero);
  }
  ~FlushToZero() { _mm_setcsr(saved_); }

 private:
  unsigned saved_;
#elif defined(__aarch64__)
  FlushToZero() {
    constexpr std::uint64_t kFlushToZero = 1ull << 24;
    asm volatile("mrs %0, fpcr" : "=r"(saved_));
    asm volatile("msr fpcr, %0" : : "r"(saved_ | kFlushToZero));
  }
  ~FlushToZero() { asm volatile("msr fpcr, %0" : : "r"(saved_)); }

 private:
  std::uint64_t saved_ = 0;
#endif

 public:
  FlushToZero(const FlushToZero&) = delete;
  FlushToZero& operator=(const FlushToZero&) = delete;
};

}  // namespace sonmere
