#pragma once

#include <cstdint>

#include "recording/library/ReadBytesAt.h"

namespace sonmere {

// Length in seconds of an MPEG-4 audio file of this size, from its boxes (ISO/IEC 14496-12): that of the
// movie or of its audio track, or of the fragments of a file that was not completed, if they are longer. 0
// when they don't tell. Looks at a bounded number of boxes, whatever the file says: in the
// worst case those of a day of fragments. Threads: any.
double mp4Seconds(const ReadBytesAt& read, std::uint64_t fileSize);

}  // namespace sonmere
