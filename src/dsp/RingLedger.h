#pragma once

#include <cstdint>

#include "base/RTScalar.h"
#include "base/RealtimeScope.h"

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

// Skips n samples of those that are in the ring. The reader.
template <std::int64_t Capacity>
void ringSkip(RTPosition& readPos, RingLedger& ledger, std::int64_t n) noexcept SONMERE_NONBLOCKING {
  readPos.storeRelease((readPos.loadRelaxed() + n) % Capacity);
  ledger.skipped.add(n);
}

}  // namespace sonmere
