#include "control/ControlServer.h"

#include <fmt/format.h>

#include <algorithm>

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
      states_(control),
      door_(runtime, log, watcher, std::move(endpoint),
            [this](FileDescriptor client) { add(std::move(client)); }) {}

void ControlServer::add(FileDescriptor socket) {
  if (connections_.size() >= kMostConnections) {
    if (!std::exchange(isFull_, true))
      log_.warning("Sonmere: too many clients of the control service; the next are turned away");
    return ControlDoor::turnAway(socket, fmt::format("Sonmere has too many clients: {}", kMostConnections));
  }
  const auto session = std::make_shared<ControlSession>(runtime_, control_, methods_, states_);
  const auto connection = std::make_shared<ControlConnection>(runtime_, watcher_, session, std::move(socket));
  connections_.push_back(connection);
  if (!changes_)
    changes_.emplace(control_.changes().observe([this](const TopicSet& topics) { changed(topics); }));
  connection->start(lifetime_.guard([this, ended = connection.get()] { remove(ended); }));
}

void ControlServer::remove(const ControlConnection* connection) {
  std::erase_if(connections_, [&](const auto& each) { return each.get() == connection; });
  isFull_ = false;
  if (connections_.empty()) changes_.reset();
}

// Those that nobody subscribed to are not looked at.
void ControlServer::changed(const TopicSet& topics) {
  for (const Topic topic : topics)
    if (std::ranges::any_of(connections_,
                            [&](const auto& each) { return each->session().isSubscribed(topic); }))
      states_.look(topic);
  for (const auto& connection : std::list(connections_)) connection->session().tellChanges();
}

}  // namespace sonmere
