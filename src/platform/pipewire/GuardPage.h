#pragma once

#include <array>
#include <atomic>
#include <cstdint>

namespace sonmere {

// Memory that this program shares with its guard. A page of zeros is one without taps.
struct GuardPage {
  // More than a server takes streams.
  static constexpr std::size_t kTaps = 4096;

  // Callbacks of muted taps that have run to their end. Render thread.
  std::atomic<std::uint64_t> beats;
  // Written by the guard: that it has begun to look. One that ends before that is not started again.
  std::atomic<std::uint32_t> hasLooked;
  // Serials of the hidden devices that apps were moved to; 0: free. One that is left when the program has
  // died tells which moves are to be taken back.
  std::array<std::atomic<std::uint32_t>, kTaps> serials;

  static_assert(std::atomic<std::uint64_t>::is_always_lock_free);
  static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
};

}  // namespace sonmere
