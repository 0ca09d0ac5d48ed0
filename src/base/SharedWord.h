#pragma once

#include <atomic>
#include <cstdint>

#include "base/RealtimeScope.h"
#include "base/Time.h"

namespace sonmere {

// A word of memory that several processes map, on which one sleeps and another wakes it.

// Wakes who sleeps on the word. The one system call of a render thread; see RealtimePass.
void wakeSleeper(std::atomic<std::uint32_t>& word) noexcept SONMERE_NONBLOCKING;
// Sleeps while the word is `seen`, for `limit` at most. May return early. Never a render callback's.
void sleepOn(std::atomic<std::uint32_t>& word, std::uint32_t seen, Duration limit);

}  // namespace sonmere
