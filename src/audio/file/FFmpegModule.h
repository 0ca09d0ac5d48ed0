#pragma once

#include <memory>
#include <string>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "base/FileDescriptor.h"

namespace sonmere {

// The one symbol of the module. Takes the descriptor in any case; on failure returns null and fills in
// `error`. Both sides are built together, so C++ types may cross.
extern "C" using OpenFFmpegReader = AudioFileReader * (*)(int fd, const char* path, Error* error);
inline constexpr const char* kOpenFFmpegReaderSymbol = "sonmereOpenFFmpegReader";

// Where the module may be, best first: $SONMERE_MODULE_DIR, next to the running program, the build folder.
std::vector<std::string> moduleDirectories();

// Loads the module from the first folder that has it; it stays loaded until the process ends.
Outcome<OpenFFmpegReader> loadFFmpegModule(const std::vector<std::string>& directories);

// Opens a file by way of the module, which is loaded now if it was not before.
Outcome<std::unique_ptr<AudioFileReader>> openWithFFmpeg(FileDescriptor file, const std::string& path);

}  // namespace sonmere
