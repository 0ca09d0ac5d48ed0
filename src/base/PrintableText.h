#pragma once

#include <string>
#include <string_view>

namespace sonmere {

// Names of apps, devices and files, and tags in them, are chosen by strangers, and a terminal obeys what it
// is shown. What changes a terminal's state or the order of its characters is taken out here and nowhere
// else: control characters (C0, DEL, C1), marks and overrides of the writing direction, other line ends, and
// bytes that are no UTF-8. Threads: any.

// As it fits in one line: each of them becomes U+FFFD, the replacement character.
std::string printable(std::string_view text);

// The same for text of several lines: line feeds stay.
std::string printableLines(std::string_view text);

// JSON text in which each of them that may stand in a string is written as an escape, which means the same.
std::string printableJSON(std::string_view json);

}  // namespace sonmere
