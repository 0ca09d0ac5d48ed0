#include "control/ControlConnection.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace sonmere {

ControlConnection::ControlConnection(Runtime& runtime, FileDescriptorWatcher& watcher,
                                     std::shared_ptr<ControlSession> session, FileDescriptor socket)
    : runtime_(runtime), watcher_(watcher), socket_(std::move(socket)), session_(std::move(session)) {}

ControlConnection::~ControlConnection() {
  if (isWatched_) watcher_.remove(socket_.get());
}

void ControlConnection::start(std::function<void()> ended) {
  ended_ = std::move(ended);
  session_->start([self = weak_from_this()] {
    if (const auto connection = self.lock()) connection->flushAndWait();
  });
  updateInterest();
}

void ControlConnection::wake() {
  const auto self = shared_from_this();
  flush();
  if (!hasEnded_ && session_->wantsInput()) readSome();
  flushAndWait();
}

void ControlConnection::readSome() {
  std::array<char, 16384> bytes;
  const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
  if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
  if (size <= 0) return session_->receiveEnd();
  session_->receive({bytes.data(), std::size_t(size)});
}

void ControlConnection::flush() {
  while (!hasEnded_ && !session_->output().empty()) {
    const std::string_view text = session_->output();
    const ssize_t size = ::send(socket_.get(), text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (size > 0) {
      session_->sent(std::size_t(size));
    } else if (size < 0 && errno == EINTR) {
      continue;
    } else if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      return;
    } else {
      end();
    }
  }
}

void ControlConnection::flushAndWait() {
  flush();
  updateInterest();
}

void ControlConnection::updateInterest() {
  if (hasEnded_ || session_->isOver()) return end();
  const FileDescriptorWatcher::Interest interest{session_->wantsInput(), !session_->output().empty()};
  const bool isWanted = interest.read || interest.write;
  if (isWanted && isWatched_) return watcher_.change(socket_.get(), interest);
  // Watched for nothing, a peer that is gone would be told of over and over.
  if (!isWanted && std::exchange(isWatched_, false)) return watcher_.remove(socket_.get());
  if (!isWanted) return;
  const auto added = watcher_.add(socket_.get(), interest, [self = weak_from_this()] {
    if (const auto connection = self.lock()) connection->wake();
  });
  isWatched_ = added.has_value();
  if (!added) end();
}

void ControlConnection::end() {
  hasEnded_ = true;
  if (std::exchange(isWatched_, false)) watcher_.remove(socket_.get());
  if (const auto ended = std::exchange(ended_, nullptr)) runtime_.mainQueue().post(ended);
}

}  // namespace sonmere
