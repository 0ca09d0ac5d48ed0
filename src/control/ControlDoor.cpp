#include "control/ControlDoor.h"

#include <fcntl.h>
#include <sys/socket.h>

#include "control/ControlMessage.h"

namespace sonmere {

namespace {

constexpr const char* kNoDescriptor = "Sonmere has no file descriptor left for another client";

FileDescriptor openSpare() { return FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)); }

}  // namespace

ControlDoor::ControlDoor(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher,
                         std::unique_ptr<ControlEndpoint> endpoint, Enter enter)
    : runtime_(runtime),
      log_(log),
      watcher_(watcher),
      endpoint_(std::move(endpoint)),
      enter_(std::move(enter)),
      spare_(openSpare()) {}

ControlDoor::~ControlDoor() {
  if (isOpen_) watcher_.remove(endpoint_->descriptor());
}

Outcome<void> ControlDoor::open() {
  const auto added = watcher_.add(endpoint_->descriptor(), {.read = true}, [this] { accept(); });
  isOpen_ = added.has_value();
  return added;
}

void ControlDoor::turnAway(const FileDescriptor& client, const std::string& reason) {
  const std::string text = controlFailure(nullptr, kTooManyClients, reason);
  // What does not fit at once is not worth waiting for.
  if (::send(client.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0) return;
}

void ControlDoor::accept() {
  auto client = endpoint_->accept();
  if (!client) return acceptWithSpare();
  isFull_ = false;
  if (client->valid()) enter_(std::move(*client));
}

void ControlDoor::acceptWithSpare() {
  if (!std::exchange(isFull_, true))
    log_.warning("Sonmere: no file descriptor left for a client of the control service");
  spare_ = FileDescriptor();
  const bool isServed = turnNextAway();
  spare_ = openSpare();
  if (!isServed || !spare_.valid()) rest();
}

bool ControlDoor::turnNextAway() {
  const auto client = endpoint_->accept();
  if (client && client->valid()) turnAway(*client, kNoDescriptor);
  return client.has_value();
}

void ControlDoor::rest() {
  if (std::exchange(isOpen_, false)) watcher_.remove(endpoint_->descriptor());
  rest_ = runtime_.mainQueue().postAfter(kRest, [this] {
    if (!spare_.valid()) spare_ = openSpare();
    if (!open()) rest();
  });
}

}  // namespace sonmere
