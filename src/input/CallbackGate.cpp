#include "input/CallbackGate.h"

namespace sonmere {

// Sequentially consistent on both sides: a block that the epoch does not show yet sees the gate closed.
bool CallbackGate::close(Runtime& runtime, Duration limit) {
  isOpen_.store(false, std::memory_order_seq_cst);
  const std::uint64_t epoch = reader->epoch();
  const auto hasLeft = [&] { return epoch % 2 == 0 || reader->epoch() != epoch; };
  return hasLeft() || runtime.waitUntil(hasLeft, limit);
}

}  // namespace sonmere
