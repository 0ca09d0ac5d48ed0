#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>

#include "base/Status.h"
#include "platform/simulated/Operation.h"

namespace sonmere {

// Decides which calls of the boundary fail. Lock-free, since one of the operations is called by render
// threads. Threads: any for `next` and `calls`; faults are set on the main thread.
class FaultPlan {
 public:
  // The nth call from now (the next one is 1) fails once. Up to 16 such faults wait per operation.
  void failNth(Operation operation, std::uint64_t n, OSStatus status);
  // The nth call from now and all after it fail.
  void failFrom(Operation operation, std::uint64_t n, OSStatus status);
  void clear(Operation operation);
  void clear();

  std::uint64_t calls(Operation operation) const noexcept {
    return entry(operation).calls.load(std::memory_order_relaxed);
  }
  // Counts a call; the status with which it must fail.
  std::optional<OSStatus> next(Operation operation) noexcept;

 private:
  static constexpr std::size_t kSingles = 16;
  struct Fault {
    std::atomic<std::uint64_t> call{0};  // 0: unused
    std::atomic<OSStatus> status{noErr};
  };
  struct Entry {
    std::atomic<std::uint64_t> calls{0};
    Fault from;
    std::array<Fault, kSingles> singles;
  };
  Entry& entry(Operation operation) { return entries_[std::size_t(operation)]; }
  const Entry& entry(Operation operation) const { return entries_[std::size_t(operation)]; }
  static void arm(Fault& fault, std::uint64_t call, OSStatus status);

  std::array<Entry, kOperationCount> entries_;
};

}  // namespace sonmere
