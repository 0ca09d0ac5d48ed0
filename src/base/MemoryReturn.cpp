#include "base/MemoryReturn.h"

#include <malloc.h>

namespace sonmere {

namespace {
constexpr int kLargeBlock = 64 << 10, kFreeAtEnd = 128 << 10;
}

void returnFreedMemory() {
  mallopt(M_MMAP_THRESHOLD, kLargeBlock);
  mallopt(M_TRIM_THRESHOLD, kFreeAtEnd);
}

}  // namespace sonmere
