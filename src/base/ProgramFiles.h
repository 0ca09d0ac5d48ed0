#pragma once

#include <filesystem>
#include <string>

namespace sonmere {

// The folder of this program's own file.
std::filesystem::path programFolder();

// The top of the build tree that this program was built in and still stands in; empty for an installed one.
std::filesystem::path buildTree();

// A program that this one starts: in the build tree, or where packages put such ones (libexec/sonmere beside
// the program's bin). Empty when it is not there.
std::string helperProgram(const std::string& name);

}  // namespace sonmere
