#pragma once

#include <cstdint>

#include "base/RealtimeScope.h"

namespace sonmere {

// The clock that stamps meters and blocks. Threads: any, render included.
class HostClock {
 public:
  virtual ~HostClock() = default;
  virtual std::uint64_t hostTime() const noexcept SONMERE_NONBLOCKING = 0;  // ns
};

}  // namespace sonmere
