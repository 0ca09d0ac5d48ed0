#include "base/LargeVector.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>

namespace sonmere {

namespace {

constexpr std::size_t kLine = 64;

std::size_t roundUp(std::size_t n, std::size_t step) { return (n + step - 1) / step * step; }

}  // namespace

std::shared_ptr<LargeArena> LargeArena::forLists(std::size_t count, std::size_t bytes) {
  const std::size_t all = count * roundUp(bytes, kLine);
  return all < kPage ? nullptr : std::make_shared<LargeArena>(all);
}

LargeArena::LargeArena(std::size_t bytes) : bytes_(roundUp(bytes, kPage)) {
  const std::size_t reserved = bytes_ + kPage;
  void* const memory = mmap(nullptr, reserved, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  // Large pages begin at multiples of their size; what is before and behind them goes back.
  const std::size_t before =
      roundUp(reinterpret_cast<std::uintptr_t>(memory), kPage) - reinterpret_cast<std::uintptr_t>(memory);
  begin_ = static_cast<char*>(memory) + before;
  if (before > 0) munmap(memory, before);
  if (before < kPage) munmap(begin_ + bytes_, kPage - before);
  // Only advice: without it the memory is as good.
  madvise(begin_, bytes_, MADV_HUGEPAGE);
}

LargeArena::~LargeArena() { munmap(begin_, bytes_); }

void* LargeArena::take(std::size_t bytes) noexcept {
  if (bytes > bytes_ - taken_) return nullptr;
  void* const memory = begin_ + taken_;
  taken_ = std::min(bytes_, taken_ + roundUp(bytes, kLine));
  return memory;
}

}  // namespace sonmere
