#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"

namespace sonmere {

// What the commands read their arguments with. Errors name the argument and say what would be right, in one
// line.

std::unexpected<Error> badArgument(std::string text);

// A finite decimal number, and nothing besides.
std::optional<double> readNumber(std::string_view text);

std::vector<std::string> splitText(const std::string& text, char separator);

// "ID=VALUE", neither of them empty. `form` says what was expected.
struct ArgumentPair {
  std::string id;
  std::string value;
};
Outcome<ArgumentPair> splitPair(const char* option, const std::string& text, const char* form);

// A bus that apps route to; nothing for "off". `argument` is how the error names it.
Outcome<std::optional<int>> readBus(const std::string& argument, const std::string& value);

// A linear app volume from 0 on. What is above the largest is held to it and `note` says so.
struct ReadGain {
  float gain = 1;
  std::optional<std::string> note;
};
Outcome<ReadGain> readGain(const std::string& argument, const std::string& value);

// A folder as a full path.
Outcome<std::string> readFolder(const char* option, const std::string& text);

}  // namespace sonmere
