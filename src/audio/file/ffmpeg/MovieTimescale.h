#pragma once

#include <cstdint>

namespace sonmere {

// The parts of a second in which an MP4 counts its edits, as its movie header says; 0 where there is none.
std::uint32_t movieTimescale(int fd);

}  // namespace sonmere
