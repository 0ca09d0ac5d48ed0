#include <time.h>

#include <cstdio>
#include <cstdlib>

#include "fuzz/FuzzImporter.h"

namespace {

// Of processor time; 100 without the address sanitizer, which makes decoders up to ten times slower. Run with
// -malloc_limit_mb=64 for the memory.
#if __has_feature(address_sanitizer)
constexpr double kMostMilliseconds = 1000;
#else
constexpr double kMostMilliseconds = 100;
#endif

double milliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return double(now.tv_sec) * 1e3 + double(now.tv_nsec) * 1e-6;
}

}  // namespace

// Entry of libFuzzer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const double before = milliseconds();
  sonmere::fuzzImporter(data, size);
  const double spent = milliseconds() - before;
  if (spent <= kMostMilliseconds) return 0;
  std::fprintf(stderr, "an input took %.0f ms\n", spent);
  std::abort();
}
