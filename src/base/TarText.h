#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Time.h"

namespace sonmere {

// The bytes of a tar archive (POSIX.1-1988, ustar) of ordinary, private files. Names have at most 100 bytes.
// Threads: any but a render thread.
std::string tarText(const std::vector<std::pair<std::string, std::string>>& filesByName, Date date);

}  // namespace sonmere
