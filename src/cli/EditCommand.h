#pragma once

#include <optional>
#include <string>

#include "cli/TrackEditArguments.h"

namespace sonmere {

struct EditArguments : TrackEditArguments {
  std::string file;
  std::optional<std::string> save, format;
  bool loudness = false;
  bool force = false;
  bool json = false;
};

// "sonmere edit": a new file of a part of one, with fades and gain. Returns the exit status. Main thread.
int runEditCommand(const EditArguments& arguments);

}  // namespace sonmere
