#pragma once

#include <atomic>
#include <cstdint>

namespace sonmere {

// Tells the control side whether one render thread is inside a block. The thread opens a Block at the top of
// its callback, before it loads any published pointer. The sequentially consistent store and loads, here and
// in Published, order "I am inside" against "the pointer was replaced"; nothing weaker does.
class RenderReader {
 public:
  class Block {
   public:
    explicit Block(RenderReader& reader) noexcept : reader_(reader) {
      reader_.epoch_.store(reader_.epoch_.load(std::memory_order_relaxed) + 1, std::memory_order_seq_cst);
    }
    ~Block() {
      reader_.epoch_.store(reader_.epoch_.load(std::memory_order_relaxed) + 1, std::memory_order_release);
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

   private:
    RenderReader& reader_;
  };

  // Odd while inside a block. Threads: any.
  std::uint64_t epoch() const noexcept { return epoch_.load(std::memory_order_seq_cst); }

 private:
  std::atomic<std::uint64_t> epoch_{0};
};

}  // namespace sonmere
