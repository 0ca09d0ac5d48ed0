#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace sonmere {

// Memory for lists of megabytes that are made together, in the system's large pages where it has them:
// touching small ones for the first time costs more than most of what is done with them. Threads: one at a
// time.
class LargeArena {
 public:
  static constexpr std::size_t kPage = std::size_t(2) << 20;

  // For `count` lists of so many bytes each; null where these are too small to be worth it.
  static std::shared_ptr<LargeArena> forLists(std::size_t count, std::size_t bytes);

  // Takes nothing from the system but addresses, until it is written to. Throws std::bad_alloc.
  explicit LargeArena(std::size_t bytes);
  ~LargeArena();
  LargeArena(const LargeArena&) = delete;
  LargeArena& operator=(const LargeArena&) = delete;

  // A part of it that begins with a cache line, all zero; null when it has no room left. Parts are not given
  // back one by one.
  void* take(std::size_t bytes) noexcept;
  bool owns(const void* memory) const noexcept { return memory >= begin_ && memory < begin_ + bytes_; }

 private:
  char* begin_ = nullptr;
  std::size_t bytes_ = 0, taken_ = 0;
};

// Takes memory from an arena while that has room, which lives as long as a list that uses it. Copies of a
// list have memory of their own.
template <class T>
class LargeAllocator {
 public:
  using value_type = T;
  using propagate_on_container_move_assignment = std::true_type;
  using propagate_on_container_swap = std::true_type;

  LargeAllocator() = default;
  explicit LargeAllocator(std::shared_ptr<LargeArena> arena) noexcept : arena_(std::move(arena)) {}
  template <class U>
  LargeAllocator(const LargeAllocator<U>& other) noexcept : arena_(other.arena_) {}  // NOLINT: converts
  LargeAllocator select_on_container_copy_construction() const { return {}; }

  T* allocate(std::size_t n) {
    void* const memory = arena_ ? arena_->take(n * sizeof(T)) : nullptr;
    return memory ? static_cast<T*>(memory) : std::allocator<T>().allocate(n);
  }
  void deallocate(T* memory, std::size_t n) noexcept {
    if (!arena_ || !arena_->owns(memory)) std::allocator<T>().deallocate(memory, n);
  }
  // Of nothing: numbers stay what they are.
  template <class U>
  void construct(U* at) noexcept(noexcept(U())) {
    ::new (static_cast<void*>(at)) U;
  }
  bool operator==(const LargeAllocator&) const = default;

 private:
  template <class U>
  friend class LargeAllocator;

  std::shared_ptr<LargeArena> arena_;
};

// A list that may take many megabytes. Made longer, its new numbers are unset unless a value is given for
// them: who fills them writes each once.
template <class T>
using LargeVector = std::vector<T, LargeAllocator<T>>;

}  // namespace sonmere
