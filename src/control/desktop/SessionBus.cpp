#include "control/desktop/SessionBus.h"

#include <fmt/format.h>
#include <poll.h>
#include <systemd/sd-bus.h>

#include <cstring>

namespace sonmere {

namespace {

// While an answer is waited for: whether its time is over.
constexpr Duration kLook = std::chrono::seconds(1);

Error failure(const char* what, int status) {
  return {"SessionBus", -status, fmt::format("{}: {}", what, std::strerror(-status))};
}

}  // namespace

void SessionBus::Close::operator()(sd_bus* bus) const { sd_bus_flush_close_unref(bus); }

Outcome<std::unique_ptr<SessionBus>> SessionBus::open(Runtime& runtime, Log& log,
                                                      FileDescriptorWatcher& watcher, Which which) {
  sd_bus* bus = nullptr;
  const bool isSystem = which == Which::system;
  const int status = isSystem ? sd_bus_open_system_with_description(&bus, "sonmere")
                              : sd_bus_open_user_with_description(&bus, "sonmere");
  if (status < 0)
    return std::unexpected(failure(isSystem ? "there is no system bus" : "there is no session bus", status));
  std::unique_ptr<SessionBus> opened(new SessionBus(runtime, log, watcher, bus));
  const auto added =
      watcher.add(opened->descriptor_, {.read = true}, [self = opened.get()] { self->pump(); });
  if (!added) return std::unexpected(added.error());
  opened->sent();
  return opened;
}

SessionBus::SessionBus(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher, sd_bus* bus)
    : runtime_(runtime), log_(log), watcher_(watcher), bus_(bus), descriptor_(sd_bus_get_fd(bus)) {}

SessionBus::~SessionBus() {
  if (bus_) watcher_.remove(descriptor_);
}

void SessionBus::sent() {
  if (bus_) pump_ = runtime_.mainQueue().postAfter(Duration::zero(), [this] { pump(); });
}

void SessionBus::pump() {
  int status = bus_ ? 1 : 0;
  while (status > 0) status = sd_bus_process(bus_.get(), nullptr);
  if (status < 0) return lose(status);
  if (bus_) arm();
}

void SessionBus::arm() {
  const int events = sd_bus_get_events(bus_.get());
  if (events < 0) return lose(events);
  watcher_.change(descriptor_, {(events & POLLIN) != 0, (events & POLLOUT) != 0});
  std::uint64_t limit = UINT64_MAX;
  const bool isWaiting = sd_bus_get_timeout(bus_.get(), &limit) >= 0 && limit != UINT64_MAX;
  late_ = isWaiting ? ScopedTask(runtime_.mainQueue().postAfter(kLook, [this] { pump(); })) : ScopedTask();
}

void SessionBus::lose(int status) {
  log_.warning(fmt::format("Sonmere: a message bus has gone ({}); the desktop can't reach the program by it",
                           std::strerror(-status)));
  watcher_.remove(descriptor_);
  late_.cancel();
  bus_.reset();
}

}  // namespace sonmere
