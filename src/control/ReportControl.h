#pragma once

#include <optional>
#include <string>

#include "app/PlatformChoice.h"
#include "app/ToneFerryApp.h"
#include "control/ProgramGreeting.h"
#include "control/ProgramStatus.h"

namespace sonmere {

// What the program says about itself. Main thread.
class ReportControl {
 public:
  ReportControl(ToneFerryApp& app, const PlatformChoice& platform) : app_(app), platform_(platform) {}

  // Who answers; refuses a client that was made for another protocol than is spoken here.
  Outcome<ProgramGreeting> greet(std::optional<int> clientProtocol) const;
  ProgramStatus status() const;
  // The diagnostic report: the state of the engines, and the delay of every internal buffer.
  std::string report() const;
  // The delays of the past, a JSON object a line.
  std::string latencyHistory() const { return app_.latencyProbe().historyFileText(); }

 private:
  ProgramGreeting greeting() const;
  // Microphone and plug-ins.
  void addInput(ProgramStatus& status) const;

  ToneFerryApp& app_;
  const PlatformChoice& platform_;
};

}  // namespace sonmere
