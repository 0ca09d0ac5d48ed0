#pragma once

#include <string>
#include <string_view>

namespace sonmere {

// What a command says besides its result, on standard error, one line each. For people it begins with the
// command's name, and shows strangers' text as a terminal may have it. Returns `status`, so that a command
// can end with it. With a status of success it is a note, else an error. `code` says to a program what went
// wrong; without one it is "badInput", "failed" or "interrupted", as the status says.
int tell(std::string_view command, int status, std::string_view text, std::string_view code = {});

// Whether what is told is JSON, an object a line: {"version":1,"error":{"code":…,"message":…,"command":…}},
// or "note" without a code. Holds for a run of the program. Main thread.
void tellAsJSON(bool isJSON);

}  // namespace sonmere
