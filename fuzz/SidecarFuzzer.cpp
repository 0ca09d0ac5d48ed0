#include "fuzz/FuzzSidecar.h"

// Entry of libFuzzer.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sonmere::fuzzSidecar(data, size);
  return 0;
}
