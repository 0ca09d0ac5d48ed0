#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/file/AACEncoder.h"
#include "audio/file/AudioFileReader.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// The two symbols of the module. On failure they return null and fill in `error`; the reader takes the
// descriptor in any case. Both sides are built together, so C++ types may cross.
extern "C" using OpenFFmpegReader = AudioFileReader * (*)(int fd, const char* path, Error* error);
extern "C" using MakeFFmpegEncoder = AACEncoder * (*)(const AudioFileSettings& settings, Error* error);
inline constexpr const char* kOpenFFmpegReaderSymbol = "sonmereOpenFFmpegReader";
inline constexpr const char* kMakeFFmpegEncoderSymbol = "sonmereMakeFFmpegEncoder";

struct FFmpegModule {
  OpenFFmpegReader openReader = nullptr;
  MakeFFmpegEncoder makeEncoder = nullptr;
};

// Where the module may be, best first: $SONMERE_MODULE_DIR alone where it is set, else ../lib/sonmere beside
// the program's folder, and for a program of the build tree that tree.
std::vector<std::string> moduleDirectories();

// Loads the module from the first folder that has it, unless others than this user and the administrator
// could have put it there; it stays loaded until the process ends.
Outcome<FFmpegModule> loadFFmpegModule(const std::vector<std::string>& directories);

// Opens a file by way of the module, which is loaded now if it was not before.
Outcome<std::unique_ptr<AudioFileReader>> openWithFFmpeg(FileDescriptor file, const std::string& path);

}  // namespace sonmere
