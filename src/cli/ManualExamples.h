#pragma once

#include <string_view>
#include <vector>

namespace sonmere {

// What the manual shows a command by.
struct ManualExample {
  const char* words;  // as they are typed
  const char* meaning;
};

// Of a command of the program, by its name; those of the program itself by "".
std::vector<ManualExample> manualExamples(std::string_view command);

}  // namespace sonmere
