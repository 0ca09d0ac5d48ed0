#pragma once

// Shared by the guard and the functions that it interposes; tests include RealtimeGuard.h.

namespace sonmere::realtime_watch {

enum class Kind { allocation, free, lock, systemCall };

// Whether the calling thread is inside a scope that a guard watches.
inline constinit thread_local bool watched = false;

// Counts one violation of the calling thread. Async-signal-safe.
void note(Kind kind, const char* name) noexcept;

// Makes the linker take the interposed functions whenever it takes the guard.
void linkInterposer() noexcept;

}  // namespace sonmere::realtime_watch
