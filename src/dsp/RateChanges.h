#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <optional>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// At which sample of a ring's stream the rate of what follows is another. One writer, one reader.
class RateChanges {
 public:
  struct Change {
    std::int64_t at = 0;  // samples since the ring's creation
    double rate = 0;      // Hz
  };

  // Render thread. Rates less than 1 Hz from the last, and such as aren't above zero, change nothing. While
  // the reader is far behind it is told with a later block.
  void note(std::int64_t at, double rate) noexcept SONMERE_NONBLOCKING {
    if (!(rate > 0) || std::abs(rate - last_) < 1.0) return;
    const std::int64_t count = written_.loadRelaxed();
    if (count - read_.loadAcquire() >= kMost) return;
    changes_[std::size_t(count % kMost)] = {at, rate};
    last_ = rate;
    written_.storeRelease(count + 1);
  }
  // The reader: the oldest change that was not dropped.
  std::optional<Change> front() const noexcept {
    const std::int64_t count = read_.loadRelaxed();
    if (count == written_.loadAcquire()) return std::nullopt;
    return changes_[std::size_t(count % kMost)];
  }
  void drop() noexcept { read_.storeRelease(read_.loadRelaxed() + 1); }

 private:
  static constexpr std::int64_t kMost = 32;
  std::array<Change, kMost> changes_{};
  RTPosition written_, read_;
  double last_ = 0;  // the writer's
};

}  // namespace sonmere
