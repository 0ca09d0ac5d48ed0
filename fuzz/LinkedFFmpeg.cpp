#include <memory>

#include "audio/file/FFmpegModule.h"
#include "audio/file/ffmpeg/FFmpegReader.h"

// In place of the module that the program loads: what the fuzzers look at is linked into them.
namespace sonmere {

Outcome<std::unique_ptr<AudioFileReader>> openWithFFmpeg(FileDescriptor file, const std::string& path) {
  return FFmpegReader::open(std::move(file), path);
}

}  // namespace sonmere
