#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "base/Error.h"

namespace sonmere {

// Small files that are replaced as a whole. Errors are of the POSIX domain and name the file.
// Threads: any but a render thread.

// Puts `bytes` in the place of the file: whoever reads it, after a crash or a loss of power too, sees the old
// or the new content, never a part. The folder must exist. A symbolic link is followed and stays: what it
// points at is replaced, also when that does not exist yet. On failure the old file is untouched.
Outcome<void> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes,
                                  mode_t mode = 0600);

// The whole content of an ordinary file. Anything else there (a folder, a pipe) is an error.
Outcome<std::string> readWholeFile(const std::filesystem::path& path);

// Makes the folder and its missing parents, private unless told otherwise; the umask is taken from the mode.
// What exists stays as it is.
Outcome<void> createFolders(const std::filesystem::path& path, mode_t mode = 0700);

// Removes what writers of the file `name` that died in the middle left in the folder. Writers that live, in
// this process or another, are left alone. Never fails.
void sweepStaleTemporaries(const std::filesystem::path& folder, const std::string& name);

// Where the path leads through symbolic links at its last component; their last target need not exist.
Outcome<std::filesystem::path> resolveLinks(const std::filesystem::path& path);

}  // namespace sonmere
