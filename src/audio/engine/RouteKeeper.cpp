#include "audio/engine/RouteKeeper.h"

#include <algorithm>

#include "audio/engine/SettleTimes.h"

namespace sonmere {

namespace {
// How often to try again to listen to a server that would not have it.
constexpr Duration kListenInterval = std::chrono::seconds(1);
}  // namespace

RouteKeeper::Registration& RouteKeeper::Registration::operator=(Registration&& other) noexcept {
  std::swap(keeper_, other.keeper_);
  std::swap(route_, other.route_);
  return *this;
}

RouteKeeper::Registration::~Registration() {
  if (keeper_) keeper_->remove(*route_);
}

void RouteKeeper::remove(Route& route) {
  std::erase(routes_, &route);
  if (!routes_.empty()) return;
  isFollowing_ = isAsleep_ = false;
  for (ScopedTask* const task : {&listenAgain_, &afterChange_, &afterRestart_, &afterWake_}) task->cancel();
  for (Subscription* const each : {&listChange_, &sleepObserver_, &wakeObserver_}) each->cancel();
  defaultOutput_.stop();
  restart_.stop();
  devices_.stop();
}

RouteKeeper::Registration RouteKeeper::add(Route& route) {
  Registration registration;
  registration.keeper_ = this;
  registration.route_ = &route;
  routes_.push_back(&route);
  if (!std::exchange(isFollowing_, true)) follow();
  return registration;
}

void RouteKeeper::follow() {
  PowerEvents& power = platform_.powerEvents();
  sleepObserver_ = power.observeWillSleep([this] { willSleep(); });
  wakeObserver_ = power.observeDidWake([this] { didWake(); });
  listChange_ = devices_.listChanges().observe([this](int) {
    event_.set(Event::listChange);
    changed();
  });
  listen();
}

void RouteKeeper::listen() {
  const auto add = [this](PropertyListener& listener, AudioProperty property,
                          void (RouteKeeper::*handler)()) {
    return listener ||
           listener.listen(platform_.hardware(), kAudioObjectSystemObject, property, runtime_.mainQueue(),
                           [this, handler] { (this->*handler)(); }) == noErr;
  };
  const bool isAgain = bool(listenAgain_);
  const bool hearsDevices = devices_.start() == noErr;
  const bool hearsDefault = add(defaultOutput_, AudioProperty::defaultOutput, &RouteKeeper::changed);
  const bool hearsRestart = add(restart_, AudioProperty::serviceRestarted, &RouteKeeper::serverRestarted);
  listenAgain_ = {};
  if (!hearsDevices || !hearsDefault || !hearsRestart)
    listenAgain_ = runtime_.mainQueue().postAfter(kListenInterval, [this] { listen(); });
  if (isAgain) changed();
}

template <class Tell>
void RouteKeeper::tellAll(Tell tell) {
  // A route that goes on the way is told no more.
  for (Route* const route : std::vector(routes_))
    if (std::ranges::find(routes_, route) != routes_.end()) tell(*route);
}

void RouteKeeper::revalidateIn(ScopedTask& task, Duration time, RevalidationReason reason) {
  time = std::max(time, readyAt_ - runtime_.uptime());
  task = runtime_.mainQueue().postAfter(
      time, [this, reason] { tellAll([reason](Route& route) { route.revalidate(reason); }); });
}

// What changes while the machine sleeps is looked at with the wake.
void RouteKeeper::changed() {
  if (isAsleep_) return;
  revalidateIn(afterChange_, settleTimes(platform_.hardware()).change, RevalidationReason::deviceChange);
}

void RouteKeeper::serverRestarted() {
  readyAt_ = runtime_.uptime() + settleTimes(platform_.hardware()).restart;
  devices_.forget();
  tellAll([](Route& route) { route.serverLost(); });
  revalidateIn(afterRestart_, Duration::zero(), RevalidationReason::serviceRestart);
  event_.set(Event::serverRestart);
}

void RouteKeeper::willSleep() {
  isAsleep_ = true;
  afterWake_.cancel();
  tellAll([](Route& route) { route.suspend(); });
  event_.set(Event::sleep);
}

void RouteKeeper::didWake() {
  isAsleep_ = false;
  revalidateIn(afterWake_, settleTimes(platform_.hardware()).wake, RevalidationReason::wake);
  event_.set(Event::wake);
}

std::vector<RouteHealthEntry> RouteKeeper::health() const {
  std::vector<RouteHealthEntry> entries;
  for (const Route* const route : routes_) entries.push_back(route->health());
  return entries;
}

std::vector<RouteHealthEntry> RouteKeeper::check(RevalidationReason reason) {
  std::vector<RouteHealthEntry> entries;
  tellAll([&](Route& route) { entries.push_back(route.check(reason)); });
  return entries;
}

void RouteKeeper::reset(ResetRoutingResult& result) {
  tellAll([&result](Route& route) { route.reset(result); });
}

}  // namespace sonmere
