#pragma once

#include <string>
#include <utility>
#include <vector>

#include "audio/file/AudioFileMark.h"

namespace sonmere {

// What a file says of itself besides its layout.
struct AudioFileDetails {
  std::string codec;     // in words: "PCM", "FLAC", "Vorbis", "AAC"; empty when it isn't known
  int bits = 0;          // of a sample; 0 where samples are encoded with loss
  bool isFloat = false;  // the samples
  std::vector<std::pair<std::string, std::string>> tags;  // "title", "artist" and so on, as they stand there
  std::vector<AudioFileMark> marks = {};                  // in their order
};

}  // namespace sonmere
