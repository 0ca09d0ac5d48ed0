#pragma once

#include <list>
#include <map>
#include <string>

#include "base/Log.h"
#include "control/Control.h"
#include "control/TopicStates.h"
#include "control/desktop/SessionBus.h"

namespace sonmere {

// Tells the user on the desktop that a recording is complete, with a button that shows its file, and what
// goes wrong with recordings. The setting "sonmere.notifications" turns it off. A desktop without
// notifications is no fault. Main thread; all that it is given outlives it.
class DesktopNotifier {
 public:
  static constexpr const char* kSettingKey = "sonmere.notifications";

  DesktopNotifier(SessionBus& bus, Log& log, Control& control);

  // A notice of something else, where the user wants notices.
  void tell(const std::string& title, const std::string& text);

 private:
  struct Notice {
    std::string title, text;
    bool isFailure = false;
    std::string file;  // empty: there is none to show
  };
  struct Handlers;
  struct Sent {
    DesktopNotifier& notifier;
    std::string file;
  };

  bool isWanted() const;
  void look();
  void send(const Notice& notice);
  void show(const std::string& file);

  SessionBus& bus_;
  Log& log_;
  Control& control_;
  TopicStates states_;
  TopicStates::Shared told_;
  Subscription changes_;
  std::list<Sent> sent_;                        // until the desktop has said their numbers
  std::map<std::uint32_t, std::string> files_;  // by number, of those with a button
};

}  // namespace sonmere
