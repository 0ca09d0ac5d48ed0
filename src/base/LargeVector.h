#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace sonmere {

// Memory of its own for a list of megabytes, made of large pages as far as whole ones fit and the system has
// them: touching small ones for the first time costs more than most of what is done with them. Any thread.
class LargeMemory {
 public:
  static constexpr std::size_t kPage = std::size_t(2) << 20;

  static bool isWorthwhile(std::size_t bytes) { return bytes >= kPage; }
  // All zero. Throws std::bad_alloc.
  static void* allocate(std::size_t bytes);
  static void free(void* memory, std::size_t bytes) noexcept;
};

template <class T>
struct LargeAllocator {
  using value_type = T;

  LargeAllocator() = default;
  template <class U>
  LargeAllocator(const LargeAllocator<U>&) noexcept {}  // NOLINT: allocators convert

  T* allocate(std::size_t n) {
    if (LargeMemory::isWorthwhile(n * sizeof(T))) return static_cast<T*>(LargeMemory::allocate(n * sizeof(T)));
    return std::allocator<T>().allocate(n);
  }
  void deallocate(T* memory, std::size_t n) noexcept {
    if (LargeMemory::isWorthwhile(n * sizeof(T))) return LargeMemory::free(memory, n * sizeof(T));
    std::allocator<T>().deallocate(memory, n);
  }
  // Of nothing: numbers stay what they are.
  template <class U>
  void construct(U* at) noexcept(noexcept(U())) {
    ::new (static_cast<void*>(at)) U;
  }
  bool operator==(const LargeAllocator&) const = default;
};

// A list that may take many megabytes. Made longer, its new numbers are unset unless a value is given for
// them: who fills them writes each once.
template <class T>
using LargeVector = std::vector<T, LargeAllocator<T>>;

}  // namespace sonmere
