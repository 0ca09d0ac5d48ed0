#pragma once

#include <string>

namespace sonmere {

// Moves a file within its file system, never over one that exists. False says why in errno; EEXIST: the name
// is taken, be it by a link that leads nowhere. Threads: any but a render thread.
bool renameWithoutReplacing(const std::string& from, const std::string& to);

}  // namespace sonmere
