#pragma once

#include <functional>
#include <string>

namespace sonmere {

// Path of a file for a track in a folder: its name without what no file's name may hold, and with a number
// behind it as long as `isTaken` holds.
std::string freeStemPath(const std::string& folder, const std::string& name, const std::string& extension,
                         const std::function<bool(const std::string& path)>& isTaken);

}  // namespace sonmere
