#pragma once

#include <string>

namespace sonmere {

inline constexpr const char* kImportedAudioName = "imported-audio";

// What stands in front of the stamp for a file that is imported: its name without extension, and without the
// stamp when it is a recording. What a file's name must not hold becomes "-": control characters, bytes that
// are no UTF-8. Never empty, never a path, no more than 200 bytes.
std::string importBaseName(const std::string& sourcePath);

}  // namespace sonmere
