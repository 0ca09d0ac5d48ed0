#pragma once

#include "audio/file/AudioFileDetails.h"
#include "audio/file/ffmpeg/FFmpegInput.h"

struct AVStream;

namespace sonmere {

// Of an open file, and of the stream of it that is read. Threads: one at a time.
AudioFileDetails ffmpegDetails(const AVFormatContext& file, const AVStream& stream);

}  // namespace sonmere
