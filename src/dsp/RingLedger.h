#pragma once

#include <cstdint>

#include "base/RTScalar.h"

namespace sonmere {

// Running totals of one ring, in samples, so that every sample is accounted for:
// written = read + skipped + still in the ring + lapped.
struct RingLedger {
  RTScalar<std::int64_t> written;  // by the writer
  RTScalar<std::int64_t> read;     // by the reader
  RTScalar<std::int64_t> skipped;  // dropped on purpose by the reader (trims)

  // Samples lost because the writer lapped the reader; `available` is what the positions say now. Exact while
  // neither side runs.
  std::int64_t lapped(std::int64_t available) const { return written - read - skipped - available; }
};

}  // namespace sonmere
