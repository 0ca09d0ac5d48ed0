#pragma once

#include <string>

#include "base/Status.h"

namespace sonmere {

// Why the microphone did not start.
struct PassthroughError {
  enum class Kind { audioUnitCreationFailed, deviceSetFailed, startFailed, componentNotFound };

  Kind kind = Kind::startFailed;
  OSStatus status = noErr;

  // Another try a second later may help.
  bool mayPass() const { return kind == Kind::deviceSetFailed || kind == Kind::startFailed; }
  std::string description() const;
};

}  // namespace sonmere
