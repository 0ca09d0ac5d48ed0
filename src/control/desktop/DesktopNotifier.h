#pragma once

#include <list>
#include <map>
#include <string>
#include <vector>

#include "base/Log.h"
#include "control/Control.h"
#include "control/TopicStates.h"
#include "control/desktop/SessionBus.h"

namespace sonmere {

// Tells the user on the desktop that recordings have ended, those of one stop in one notice, with a button
// that shows their files, and what goes wrong with recordings. The setting "sonmere.notifications" turns it
// off. A desktop without notifications is no fault. Main thread; all that it is given outlives it.
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
    std::vector<std::string> files;  // to be shown
  };
  struct Handlers;
  struct Sent {
    DesktopNotifier& notifier;
    std::vector<std::string> files;
  };

  bool isWanted() const;
  void look();
  void tellEnded(std::vector<std::string> files);
  void send(const Notice& notice);
  void show(const std::vector<std::string>& files);

  SessionBus& bus_;
  Log& log_;
  Control& control_;
  TopicStates states_;
  TopicStates::Shared told_;
  Subscription changes_;
  std::list<Sent> sent_;                                     // until the desktop has said their numbers
  std::map<std::uint32_t, std::vector<std::string>> files_;  // by number, of those with a button
};

}  // namespace sonmere
