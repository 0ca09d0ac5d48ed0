#pragma once

#include "base/SettingsStore.h"

namespace sonmere {

// The sheet that greets a user when the main window first shows its content.
enum class WelcomeSheet {
  none,
  routingNote,  // what an upgrade changed in the routing
  welcome,      // welcome to version 1.8
  whatIsNew,    // version 2.9.9
};

// Chooses one sheet at most and takes down what must not show again. A new install is never welcomed to a
// version that it did not upgrade to. Main thread, once per launch.
WelcomeSheet chooseWelcomeSheet(SettingsStore& settings);

}  // namespace sonmere
