#pragma once

namespace sonmere {

// What a file's own encoding keeps of each sample: 16 bits or what a lossy codec makes of it, whole numbers
// of more bits, or floating point.
enum class SampleForm { coarse, fine, floating };

}  // namespace sonmere
