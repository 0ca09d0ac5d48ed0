#pragma once

#include <string>

#include "app/PlatformChoice.h"
#include "app/ToneFerryApp.h"
#include "control/ProgramStatus.h"

namespace sonmere {

// What the program says about itself. Main thread.
class ReportControl {
 public:
  ReportControl(ToneFerryApp& app, const PlatformChoice& platform) : app_(app), platform_(platform) {}

  ProgramStatus status() const;
  // The diagnostic report: the state of the engines, and the delay of every internal buffer.
  std::string report() const;

 private:
  ToneFerryApp& app_;
  const PlatformChoice& platform_;
};

}  // namespace sonmere
