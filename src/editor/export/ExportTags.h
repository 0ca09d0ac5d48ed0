#pragma once

#include <string>

#include "audio/file/AudioFileTags.h"

namespace sonmere {

// The title is the name of the file that is made (empty: no title), without its extension and the stamp of a
// recording; the date is that of the recording that it is made of.
AudioFileTags exportTags(const std::string& destination, const std::string& source);

}  // namespace sonmere
