#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <span>

#include "base/RTScalar.h"

namespace sonmere {

// A block of float64 that never moves, through which filter state reaches a callback. The control side
// changes it in place, element by element: a block of audio may see some values old and some new.
class RTDoubles {
 public:
  // Zero-filled. Main thread.
  explicit RTDoubles(std::size_t count);

  std::size_t count() const noexcept { return count_; }
  double operator[](std::size_t index) const noexcept {
    return storage_[index].load(std::memory_order_relaxed);
  }
  void set(std::size_t index, double value) noexcept {
    storage_[index].store(value, std::memory_order_relaxed);
  }
  // Copies min(list count, count) elements. Main thread.
  void copy(std::span<const double> values) noexcept;
  void zeroFill() noexcept;
  // How often these two were done: who sees a count before copying out sees all of that change.
  std::int64_t changes() const noexcept { return changes_.loadAcquire(); }

 private:
  void countChange() noexcept { changes_.storeRelease(changes_.loadRelaxed() + 1); }

  std::size_t count_;
  std::unique_ptr<std::atomic<double>[]> storage_;
  RTPosition changes_;
};

}  // namespace sonmere
