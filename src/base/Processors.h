#pragma once

namespace sonmere {

// How many threads this machine runs at once, at least 1. Threads: any.
unsigned processorCount() noexcept;

}  // namespace sonmere
