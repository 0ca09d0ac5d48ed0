#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <vector>

#include "base/MemoryReturn.h"

namespace sonmere {

#ifndef SONMERE_SANITIZED
// Sanitizers bring an allocator of their own.
TEST(MemoryReturn, RingsGoBackWhateverWasFreedBefore) {
  returnFreedMemory();
  // The library would take this as a reason to keep blocks of up to that size from now on.
  void* volatile large = std::malloc(16 << 20);
  std::free(large);
  const auto lent = [] { return mallinfo2().hblkhd; };
  const std::size_t before = lent();
  std::vector<void*> rings;
  for (int i = 0; i < 50; ++i) rings.push_back(std::malloc(192'000));
  EXPECT_GE(lent(), before + 50 * 192'000) << "they lie in the heap";
  for (void* ring : rings) std::free(ring);
  EXPECT_EQ(lent(), before);
}
#endif

}  // namespace sonmere
