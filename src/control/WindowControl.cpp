#include "control/WindowControl.h"

#include "app/WelcomeSheet.h"

namespace sonmere {

namespace {

const char* name(WelcomeSheet sheet) {
  switch (sheet) {
    case WelcomeSheet::none:
      return "";
    case WelcomeSheet::routingNote:
      return "routingNote";
    case WelcomeSheet::welcome:
      return "welcome";
    case WelcomeSheet::whatIsNew:
      return "whatIsNew";
  }
  return "";
}

}  // namespace

WindowLaunch WindowControl::launch(bool atLogin) {
  return {app_.appDelegate().showsMainWindow(atLogin), name(chooseWelcomeSheet(app_.context().settings))};
}

}  // namespace sonmere
