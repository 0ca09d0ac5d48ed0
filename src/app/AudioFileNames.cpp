#include "app/AudioFileNames.h"

#include <algorithm>
#include <filesystem>

namespace sonmere {

namespace {

constexpr std::string_view kAudioExtensions[] = {".wav", ".wave", ".aif", ".aiff", ".aifc", ".caf", ".m4a",
                                                 ".mp3", ".mp4",  ".aac", ".flac", ".ogg",  ".opus"};

}  // namespace

bool isAudioFileName(const std::string& file) {
  std::string extension = std::filesystem::path(file).extension().string();
  for (char& c : extension)
    if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
  return std::ranges::find(kAudioExtensions, extension) != std::end(kAudioExtensions);
}

}  // namespace sonmere
