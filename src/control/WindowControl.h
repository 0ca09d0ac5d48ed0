#pragma once

#include <string>

#include "app/ToneFerryApp.h"

namespace sonmere {

// What a window that comes up is to do.
struct WindowLaunch {
  bool isShown = true;   // else it waits in the tray until it is asked for
  std::string greeting;  // the sheet over its content: "welcome", "routingNote", "whatIsNew", or empty
};

// The program's side of the main window. Main thread.
class WindowControl {
 public:
  explicit WindowControl(ToneFerryApp& app) : app_(app) {}

  // A window comes up for the first time in its process; `atLogin` when the log-in brought it. What is
  // greeted with is taken down, so that it greets once.
  WindowLaunch launch(bool atLogin);

 private:
  ToneFerryApp& app_;
};

}  // namespace sonmere
