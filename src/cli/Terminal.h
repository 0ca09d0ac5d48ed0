#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace sonmere {

// The columns of the terminal that `out` is, as they are now; 0 where it is none, and lines may be of any
// length.
int terminalColumns(std::FILE* out = stdout);
// Its rows; 0 where it is none.
int terminalRows(std::FILE* out = stdout);

// The columns that a text takes up: wide characters two, marks above others none.
int displayWidth(std::string_view text);
// The text, cut to so many columns with "…" at its end where it is longer.
std::string fitted(std::string_view text, int columns);

}  // namespace sonmere
