#pragma once

#include <optional>
#include <string>

namespace sonmere {

struct SessionArguments {
  std::string stamp;
  std::optional<std::string> folder;
  bool stems = false;  // else the mix
  std::string out;
  std::optional<std::string> format;
  bool loudness = false;
  bool force = false;
  bool json = false;
};

// "sonmere session show": the tracks of a session with their edits. Each returns the exit status. Main
// thread.
int runSessionShow(const SessionArguments& arguments);
// "sonmere session export": their mix, or each by itself.
int runSessionExport(const SessionArguments& arguments);

}  // namespace sonmere
