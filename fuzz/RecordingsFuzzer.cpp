#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "fuzz/FuzzRecordings.h"

namespace {

constexpr double kMostSeconds = 0.1;

double processorTime() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

}  // namespace

// Entry of libFuzzer. An input that takes long is a find, too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const double begin = processorTime();
  sonmere::fuzzRecordings(data, size);
  const double seconds = processorTime() - begin;
  if (seconds > kMostSeconds) {
    std::fprintf(stderr, "an input took %.3f s\n", seconds);
    std::abort();
  }
  return 0;
}
