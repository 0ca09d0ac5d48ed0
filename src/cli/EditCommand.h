#pragma once

#include <optional>
#include <string>

namespace sonmere {

struct EditArguments {
  std::string file;
  std::optional<std::string> trim, fadeIn, fadeOut, gain;
  std::optional<std::string> normalise;  // "peak" or a loudness in LUFS
  std::optional<std::string> save, format;
  bool loudness = false;
  bool force = false;
  bool json = false;
};

// "sonmere edit": a new file of a part of one, with fades and gain. Returns the exit status. Main thread.
int runEditCommand(const EditArguments& arguments);

}  // namespace sonmere
