#pragma once

#include <sndfile.h>

#include "audio/file/AudioFileDetails.h"

namespace sonmere {

// Of an open file of libsndfile, whose `format` this is. Threads: one at a time.
AudioFileDetails sndFileDetails(SNDFILE* sound, int format);

}  // namespace sonmere
