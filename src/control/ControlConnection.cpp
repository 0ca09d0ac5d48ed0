#include "control/ControlConnection.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>

namespace sonmere {

namespace {
constexpr const char* kWatchMethod = "watch";
}

ControlConnection::ControlConnection(Runtime& runtime, FileDescriptorWatcher& watcher,
                                     ControlMethods& methods, FileDescriptor socket)
    : runtime_(runtime), watcher_(watcher), methods_(methods), socket_(std::move(socket)) {}

ControlConnection::~ControlConnection() {
  if (isWatched_) watcher_.remove(socket_.get());
}

void ControlConnection::start(std::function<void()> ended, std::function<void()> watchingChanged) {
  ended_ = std::move(ended);
  watchingChanged_ = std::move(watchingChanged);
  updateInterest();
}

void ControlConnection::wake() {
  const auto self = shared_from_this();
  flush();
  if (!hasEnded_ && !isAtEnd_ && !isPaused_) readSome();
  updateInterest();
}

void ControlConnection::readSome() {
  std::array<char, 16384> bytes;
  const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
  if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) return;
  if (size <= 0) {
    isAtEnd_ = true;
    return;
  }
  const bool fits = framer_.append({bytes.data(), std::size_t(size)});
  handleLines();
  if (fits || hasEnded_) return;
  send(controlFailure(nullptr, kInvalidRequest, "the message is longer than 64 KiB"));
  end();
}

void ControlConnection::handleLines() {
  while (!hasEnded_) {
    if (!budget_.take(runtime_.uptime())) {
      isPaused_ = true;
      pause_ = runtime_.mainQueue().postAfter(RequestBudget::kPause, [self = weak_from_this()] {
        const auto connection = self.lock();
        if (!connection) return;
        connection->isPaused_ = false;
        connection->handleLines();
        connection->updateInterest();
      });
      return;
    }
    const auto line = framer_.next();
    if (!line) return budget_.giveBack();
    handle(*line);
  }
}

void ControlConnection::handle(const std::string& line) {
  const auto request = parseControlRequest(line);
  if (!request) {
    const ControlRefusal& refusal = request.error();
    return send(controlFailure(refusal.id, refusal.code, refusal.message));
  }
  if (request->method == kWatchMethod) {
    setWatching(*request);
    return;
  }
  ++pendingReplies_;
  const auto reply = [self = weak_from_this(), id = request->id](const Outcome<ControlJSON>& outcome) {
    const auto connection = self.lock();
    if (!connection) return;
    --connection->pendingReplies_;
    if (id) connection->answer(*id, outcome);
    connection->updateInterest();
  };
  if (methods_.call(request->method, request->params, reply)) return;
  --pendingReplies_;
  if (request->id)
    send(controlFailure(*request->id, kMethodNotFound, "there is no method \"" + request->method + "\""));
}

void ControlConnection::answer(const ControlJSON& id, const Outcome<ControlJSON>& outcome) {
  send(outcome ? controlResult(id, *outcome)
               : controlFailure(id, controlErrorCode(outcome.error()), outcome.error().description));
}

// {"on": false} ends it.
bool ControlConnection::setWatching(const ControlRequest& request) {
  const auto on = request.params.find("on");
  isWatching_ = on == request.params.end() || *on != false;
  if (request.id) send(controlResult(*request.id, ControlJSON::object()));
  watchingChanged_();
  return isWatching_;
}

void ControlConnection::notify(const std::string& message) {
  if (!out_.empty() || hasEnded_) return;
  send(message);
  updateInterest();
}

void ControlConnection::send(const std::string& message) {
  if (hasEnded_) return;
  out_ += message;
  flush();
  if (out_.size() > kLongestQueue) end();
}

void ControlConnection::flush() {
  while (!out_.empty() && !hasEnded_) {
    const ssize_t size = ::send(socket_.get(), out_.data(), out_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (size > 0) {
      out_.erase(0, std::size_t(size));
    } else if (size < 0 && errno == EINTR) {
      continue;
    } else if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      return;
    } else {
      end();
    }
  }
}

void ControlConnection::updateInterest() {
  if (isDone()) return end();
  const FileDescriptorWatcher::Interest interest{!isAtEnd_ && !isPaused_, !out_.empty()};
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
  if (!std::exchange(hasEnded_, true)) pause_.cancel();
  if (std::exchange(isWatched_, false)) watcher_.remove(socket_.get());
  if (const auto ended = std::exchange(ended_, nullptr)) runtime_.mainQueue().post(ended);
}

}  // namespace sonmere
