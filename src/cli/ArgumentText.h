#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"
#include "base/NumberText.h"

namespace sonmere {

// What the commands read their arguments with. Errors name the argument and say what would be right, in one
// line.

std::unexpected<Error> badArgument(std::string text);

std::vector<std::string> splitText(const std::string& text, char separator);

// "ID=VALUE", neither of them empty. `form` says what was expected.
struct ArgumentPair {
  std::string id;
  std::string value;
};
Outcome<ArgumentPair> splitPair(const char* option, const std::string& text, const char* form);

// "on" or "off". `choices` is what the error offers.
Outcome<bool> readSwitch(const std::string& argument, const std::string& text,
                         const char* choices = "on or off");

// A limiter's ceiling in dB, with or without its unit; one beyond the range is left to others to hold.
Outcome<double> readCeiling(const std::string& argument, const std::string& text);

// A folder as a full path.
Outcome<std::string> readFolder(const char* option, const std::string& text);

}  // namespace sonmere
