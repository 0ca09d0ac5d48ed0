#pragma once

#include "base/Status.h"

namespace sonmere {

// Where the making of an output ended, and with what. Each engine has words of its own for it.
enum class OutputStep {
  findDevice,
  readRate,
  findComponent,
  createUnit,
  setDevice,
  setFormat,
  setCallback,
  initialize,
  start,
};

struct OutputFailure {
  OutputStep step;
  OSStatus status;
};

}  // namespace sonmere
