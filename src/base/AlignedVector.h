#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace sonmere {

// Memory that begins on a cache line of its own, so that the widest registers are loaded and stored in one
// go.
template <class T>
struct LineAllocator {
  using value_type = T;
  static constexpr std::align_val_t kAlignment{64};

  LineAllocator() = default;
  template <class U>
  LineAllocator(const LineAllocator<U>&) noexcept {}  // NOLINT: allocators convert

  T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), kAlignment)); }
  void deallocate(T* memory, std::size_t) noexcept { ::operator delete(memory, kAlignment); }
  bool operator==(const LineAllocator&) const = default;
};

template <class T>
using AlignedVector = std::vector<T, LineAllocator<T>>;

}  // namespace sonmere
