#include "control/ControlServer.h"

#include <fmt/format.h>

#include <algorithm>

#include "control/ControlCodec.h"

namespace sonmere {

Outcome<std::unique_ptr<ControlServer>> ControlServer::start(Runtime& runtime, Log& log,
                                                             FileDescriptorWatcher& watcher, Control& control,
                                                             std::unique_ptr<ControlEndpoint> endpoint) {
  std::unique_ptr<ControlServer> server(
      new ControlServer(runtime, log, watcher, control, std::move(endpoint)));
  if (auto opened = server->door_.open(); !opened) return std::unexpected(opened.error());
  return server;
}

ControlServer::ControlServer(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher, Control& control,
                             std::unique_ptr<ControlEndpoint> endpoint)
    : runtime_(runtime),
      log_(log),
      watcher_(watcher),
      control_(control),
      methods_(control),
      door_(runtime, log, watcher, std::move(endpoint),
            [this](FileDescriptor client) { add(std::move(client)); }) {}

void ControlServer::add(FileDescriptor socket) {
  if (connections_.size() >= kMostConnections) {
    if (!std::exchange(isFull_, true))
      log_.warning("Sonmere: too many clients of the control service; the next are turned away");
    return ControlDoor::turnAway(socket, fmt::format("Sonmere has too many clients: {}", kMostConnections));
  }
  const auto connection =
      std::make_shared<ControlConnection>(runtime_, watcher_, methods_, std::move(socket));
  connections_.push_back(connection);
  const auto whileAlive = [this, alive = std::weak_ptr(alive_)](auto work) {
    return [alive, work] {
      if (!alive.expired()) work();
    };
  };
  connection->start(whileAlive([this, ended = connection.get()] { remove(ended); }),
                    whileAlive([this] { reconcileWatch(); }));
}

void ControlServer::remove(const ControlConnection* connection) {
  std::erase_if(connections_, [&](const auto& each) { return each.get() == connection; });
  isFull_ = false;
  reconcileWatch();
}

void ControlServer::reconcileWatch() {
  const bool isWanted = std::ranges::any_of(connections_, &ControlConnection::isWatching);
  if (isWanted == bool(watch_)) return;
  watch_.cancel();
  if (isWanted) watch_ = runtime_.mainQueue().repeat(kWatchInterval, [this] { tellLevels(); });
}

void ControlServer::tellLevels() {
  const std::string message =
      controlNotification("levels", {{"apps", encodeControl(control_.apps().list())},
                                     {"recordings", encodeControl(control_.recordings().list())}});
  for (const auto& connection : std::list(connections_))
    if (connection->isWatching()) connection->notify(message);
}

}  // namespace sonmere
