#include "control/ControlClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "control/ControlEndpoint.h"
#include "control/ProgramGreeting.h"

namespace sonmere {

namespace {

// A recording that is stopped on a slow drive takes its time.
constexpr int kAnswerTimeout = 20'000;  // ms

std::unexpected<Error> lost(std::string text) {
  return std::unexpected(Error{ControlClient::kErrorDomain, ControlClient::kLost, std::move(text)});
}

}  // namespace

Error controlAnswerError(const ControlJSON& error) {
  const auto code = error.find("code"), message = error.find("message");
  const bool hasCode = code != error.end() && code->is_number_integer();
  const bool hasText = message != error.end() && message->is_string();
  return {ControlClient::kAnswerDomain, hasCode ? std::int64_t(*code) : 0,
          hasText ? std::string(*message) : "no reason given"};
}

Outcome<ControlClient> ControlClient::connect(const std::filesystem::path& folder) {
  auto socket = connectToControl(folder);
  if (socket) {
    ControlClient client(std::move(*socket));
    auto greeting = client.call("hello", {{"protocol", kControlProtocol}});
    if (!greeting) return std::unexpected(greeting.error());
    client.greeting_ = std::move(*greeting);
    return client;
  }
  const bool isAbsent = socket.error().code == ENOENT || socket.error().code == ECONNREFUSED;
  if (!isAbsent || socket.error().domain != kPOSIXErrorDomain) return std::unexpected(socket.error());
  return std::unexpected(Error{kErrorDomain, kNotRunning, "Sonmere is not running"});
}

// The program as a process, so that no later one of the same number is taken for it.
ControlClient::ControlClient(FileDescriptor socket) : socket_(std::move(socket)) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (::getsockopt(socket_.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid > 0)
    process_ = FileDescriptor(int(::syscall(SYS_pidfd_open, peer.pid, 0)));
}

bool ControlClient::waitForEnd(int milliseconds) {
  // Without a process the end of the connection is the best sign.
  pollfd waiting{process_.valid() ? process_.get() : socket_.get(),
                 short(process_.valid() ? POLLIN : POLLRDHUP), 0};
  return ::poll(&waiting, 1, milliseconds) > 0;
}

Outcome<void> ControlClient::send(const std::string& text) {
  std::size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t size = ::send(socket_.get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (size < 0 && errno == EINTR) continue;
    // Who was turned away has been told why.
    if (size < 0 && errno == EPIPE) return {};
    if (size < 0) return std::unexpected(posixError(errno, "Send to Sonmere"));
    sent += std::size_t(size);
  }
  return {};
}

Outcome<ControlJSON> ControlClient::receive() {
  while (true) {
    if (const auto line = framer_.next()) {
      auto message = ControlJSON::parse(*line, nullptr, false);
      if (!message.is_object()) return lost("Sonmere answered something that is no message");
      return message;
    }
    pollfd waiting{socket_.get(), POLLIN, 0};
    const int ready = ::poll(&waiting, 1, kAnswerTimeout);
    if (ready < 0 && errno == EINTR) continue;
    if (ready == 0) return lost("Sonmere does not answer");
    std::array<char, 16384> bytes;
    const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), 0);
    if (size < 0 && errno == EINTR) continue;
    if (size <= 0) return lost("Sonmere has ended");
    framer_.append({bytes.data(), std::size_t(size)});
  }
}

Outcome<ControlJSON> ControlClient::call(const std::string& method, const ControlJSON& params) {
  const int id = nextID_++;
  if (auto sent = send(controlRequestText(id, method, params)); !sent) return std::unexpected(sent.error());
  while (true) {
    auto answer = receive();
    if (!answer) return answer;
    const ControlJSON answered = answer->value("id", ControlJSON());
    // What could not be read as a request is answered to nobody.
    if (answered != id && !answered.is_null()) continue;
    if (const auto error = answer->find("error"); error != answer->end() && error->is_object())
      return std::unexpected(controlAnswerError(*error));
    return answer->value("result", ControlJSON());
  }
}

}  // namespace sonmere
