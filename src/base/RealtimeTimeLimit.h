#pragma once

#include <cstdint>

namespace sonmere {

// The kernel ends a process whose real-time thread works longer than RLIMIT_RTTIME without a pause, and
// others (a service that hands out the priority) set that limit for it. This keeps it from happening: the
// soft limit lies below the hard one, and its signal takes the priority from the thread that works so long,
// which goes on as an ordinary one. Threads: any but a render thread.
namespace RealtimeTimeLimit {

// A hard limit below this leaves no time to be warned in: real-time priority is not to be asked for.
inline constexpr std::int64_t kShortest = 10'000;  // microseconds

// From now on the signal takes the priority away. Also lowers the soft limit. Once, before threads start.
void install();
// The soft limit below the hard one again, after somebody may have set both.
void lowerSoft();
// Whether threads may have real-time priority without danger to the program.
bool allowsRealtime();
// How many threads have lost it since the start.
int lostPriorities() noexcept;

}  // namespace RealtimeTimeLimit
}  // namespace sonmere
