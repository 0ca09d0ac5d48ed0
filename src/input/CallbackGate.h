#pragma once

#include <atomic>
#include <memory>

#include "base/RenderReader.h"
#include "base/Runtime.h"

namespace sonmere {

// Whether a unit's callback may do its work. A unit is disposed of in the background and may call until it is
// gone; with its gate closed such a call does nothing.
class CallbackGate {
 public:
  explicit CallbackGate(std::shared_ptr<RenderReader> itsReader) : reader(std::move(itsReader)) {}

  // Render thread, inside a RenderReader::Block of `reader`.
  bool isOpen() const noexcept { return isOpen_.load(std::memory_order_seq_cst); }
  // Main thread. Waits for a block that runs, up to `limit`; false when it runs still.
  bool close(Runtime& runtime, Duration limit);

  const std::shared_ptr<RenderReader> reader;

 private:
  std::atomic<bool> isOpen_{true};
};

}  // namespace sonmere
