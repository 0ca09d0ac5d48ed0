#include "editor/AddTrackError.h"

#include <fmt/format.h>

namespace sonmere {

std::string AddTrackError::description() const {
  switch (kind) {
    case Kind::atCap:
      return fmt::format("Track limit reached ({}-track limit for one project.)", cap);
    case Kind::importFailed:
      return "Couldn't import that file: " + text;
    case Kind::duplicate:
      return "That file is already in this project.";
    case Kind::decodeFailed:
      return "Couldn't decode that audio file.";
  }
  return {};
}

}  // namespace sonmere
