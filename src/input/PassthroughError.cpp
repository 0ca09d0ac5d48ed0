#include "input/PassthroughError.h"

#include <fmt/format.h>

namespace sonmere {

std::string PassthroughError::description() const {
  switch (kind) {
    case Kind::audioUnitCreationFailed:
      return fmt::format("AudioUnit error: {}", status);
    case Kind::deviceSetFailed:
      return fmt::format("Device set error: {}", status);
    case Kind::startFailed:
      return fmt::format("Start error: {}", status);
    case Kind::componentNotFound:
      break;
  }
  return "Audio component not found";
}

}  // namespace sonmere
