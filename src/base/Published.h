#pragma once

#include <atomic>
#include <memory>
#include <utility>

#include "base/RenderReader.h"
#include "base/RenderRetirement.h"
#include "base/ThreadRules.h"

namespace sonmere {

// An object that the main thread replaces as a whole and render threads read: one pointer store publishes,
// one load per block reads. The old object retires and is freed on the main thread.
template <class T>
class Published {
 public:
  Published() = default;
  Published(const Published&) = delete;
  Published& operator=(const Published&) = delete;

  // Render thread, once per block, inside a RenderReader::Block.
  T* load() const noexcept { return pointer_.load(std::memory_order_seq_cst); }

  // Main thread.
  const std::shared_ptr<T>& current() const { return owner_; }
  void publish(std::shared_ptr<T> next, RenderRetirement& retirement, Duration grace) {
    assertMain();
    assertNotRendering();
    auto old = std::exchange(owner_, std::move(next));
    pointer_.store(owner_.get(), std::memory_order_seq_cst);
    retirement.retire(std::move(old), grace);
  }

 private:
  std::atomic<T*> pointer_{nullptr};
  std::shared_ptr<T> owner_;
};

}  // namespace sonmere
