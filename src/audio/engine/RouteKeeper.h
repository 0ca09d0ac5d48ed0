#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "audio/device/Platform.h"
#include "audio/engine/DeviceDirectory.h"
#include "audio/engine/PropertyListener.h"
#include "audio/engine/Route.h"
#include "base/Runtime.h"

namespace sonmere {

// The one place that turns what happens to the server, its devices and the machine into looks at the routes.
// A change of the list of devices or of the default output, a restart and a wake are settled first; the
// routes hear of them in the order of their registration. Main thread.
class RouteKeeper {
 public:
  // Keeps a route informed for as long as it is held.
  class Registration {
   public:
    Registration() = default;
    Registration(Registration&& other) noexcept { *this = std::move(other); }
    Registration& operator=(Registration&& other) noexcept;
    ~Registration();

   private:
    friend class RouteKeeper;
    RouteKeeper* keeper_ = nullptr;
    Route* route_ = nullptr;
  };

  RouteKeeper(Runtime& runtime, Platform& platform, DeviceDirectory& devices)
      : runtime_(runtime), platform_(platform), devices_(devices) {}

  // Follows the server and the machine while there is a route. A server that would not have it is asked
  // again until it does; what it would have told meanwhile is looked for then.
  [[nodiscard]] Registration add(Route& route);
  // Of every route, in the order of their registration.
  std::vector<RouteHealthEntry> health() const;
  // The same after each was asked for what it lacks.
  std::vector<RouteHealthEntry> check(RevalidationReason reason);
  // What the routes did of it goes into the result.
  void reset(ResetRoutingResult& result);

  // What happened, told at once; the routes themselves are told when it has settled.
  enum class Event { listChange, serverRestart, sleep, wake };
  [[nodiscard]] Subscription observe(std::function<void(Event)> observer) {
    return event_.observe(std::move(observer));
  }

 private:
  void follow();
  void remove(Route& route);
  void listen();
  void changed();
  void serverRestarted();
  void willSleep();
  void didWake();
  void revalidateIn(ScopedTask& task, Duration time, RevalidationReason reason);
  template <class Tell>
  void tellAll(Tell tell);

  Runtime& runtime_;
  Platform& platform_;
  DeviceDirectory& devices_;
  std::vector<Route*> routes_;
  bool isFollowing_ = false;
  bool isAsleep_ = false;
  OwnedObservable<Event, RouteKeeper> event_{Event::listChange};
  PropertyListener defaultOutput_, restart_;
  Duration readyAt_{0};  // uptime; nothing is looked at before
  ScopedTask listenAgain_, afterChange_, afterRestart_, afterWake_;
  Subscription listChange_, sleepObserver_, wakeObserver_;
};

}  // namespace sonmere
