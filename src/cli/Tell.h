#pragma once

#include <string>
#include <string_view>

namespace sonmere {

// What a command says besides its result: one line on standard error that begins with the command's name, and
// shows strangers' text as a terminal may have it. Returns `status`, so that a command can end with it.
int tell(std::string_view command, int status, std::string_view text);

}  // namespace sonmere
