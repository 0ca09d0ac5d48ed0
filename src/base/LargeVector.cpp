#include "base/LargeVector.h"

#include <sys/mman.h>

#include <cstdint>

namespace sonmere {

namespace {

std::size_t inSmallPages(std::size_t bytes) {
  constexpr std::size_t page = 65536;  // the largest that counts as small
  return (bytes + page - 1) / page * page;
}

}  // namespace

void* LargeMemory::allocate(std::size_t bytes) {
  const std::size_t length = inSmallPages(bytes), reserved = length + kPage;
  void* const begin = mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (begin == MAP_FAILED) throw std::bad_alloc();
  // Large pages begin at multiples of their size.
  const std::size_t before = (kPage - reinterpret_cast<std::uintptr_t>(begin) % kPage) % kPage;
  auto* const memory = static_cast<char*>(begin) + before;
  if (before > 0) munmap(begin, before);
  if (before < kPage) munmap(memory + length, kPage - before);
  // Only advice: without it the memory is as good.
  madvise(memory, length - length % kPage, MADV_HUGEPAGE);
  return memory;
}

void LargeMemory::free(void* memory, std::size_t bytes) noexcept { munmap(memory, inSmallPages(bytes)); }

}  // namespace sonmere
