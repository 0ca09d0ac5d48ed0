#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/Lifetime.h"
#include "control/Control.h"
#include "control/ControlMethods.h"
#include "control/desktop/BusObjects.h"
#include "control/desktop/SessionBus.h"

struct sd_bus_message;
struct sd_bus_slot;

namespace sonmere {

// The façade as objects of the session bus, "com.sonmere.Sonmere1": apps, buses, recordings, the microphone
// and the per-app volume with properties, methods and signals of their changes, and `Call`, which reaches
// every method of the control service. Where another program has the name, this one does without. Main
// thread; all that it is given outlives it.
class DesktopBus {
 public:
  DesktopBus(SessionBus& bus, Log& log, Control& control);
  ~DesktopBus();

 private:
  struct Publication;
  struct Handlers;

  void publish();
  void publish(Publication& publication);
  template <class Add>
  void keep(Add add);
  void run(const std::string& method, const ControlJSON& params,
           const std::shared_ptr<sd_bus_message>& message, const char* result);
  void changed(const TopicSet& topics);
  void compare(Publication& publication);

  SessionBus& bus_;
  Log& log_;
  Control& control_;
  ControlMethods methods_;
  std::list<Publication> publications_;
  // The bus reads the tables of the publications until these have gone.
  std::vector<std::shared_ptr<sd_bus_slot>> slots_;
  Subscription changes_;
  // Tells answers that come later whether this object is still there.
  Lifetime lifetime_;
};

}  // namespace sonmere
