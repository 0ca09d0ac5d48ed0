#pragma once

#include <sndfile.h>

#include "audio/file/AudioFileDetails.h"

namespace sonmere {

// Of an open file of libsndfile, whose `format` this is. Threads: that which reads it.
AudioFileDetails sndFileDetails(SNDFILE* sound, int format);

}  // namespace sonmere
