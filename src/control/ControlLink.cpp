#include "control/ControlLink.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "control/ControlClient.h"
#include "control/ControlEndpoint.h"
#include "control/ProgramGreeting.h"

namespace sonmere {

namespace {

Error lost(std::string text) { return {ControlClient::kErrorDomain, ControlClient::kLost, std::move(text)}; }

}  // namespace

ControlLink::ControlLink(std::filesystem::path folder, Wishes wishes, Handlers handlers)
    : folder_(std::move(folder)), wishes_(std::move(wishes)), handlers_(std::move(handlers)) {}

const TopicJSON& ControlLink::value(Topic topic) const {
  static const TopicJSON none;
  const auto found = topics_.find(topic);
  return found == topics_.end() ? none : found->second.value;
}

void ControlLink::process() {
  if (!socket_.valid()) connect();
  if (!socket_.valid()) return;
  flush();
  readSome();
  flush();
}

void ControlLink::connect() {
  auto socket = connectToControl(folder_, SOCK_NONBLOCK);
  if (!socket) return;
  socket_ = std::move(*socket);
  framer_ = MessageFramer(MessageFramer::kUnbounded);
  call("hello", {{"protocol", kControlProtocol}}, [this](const Outcome<ControlJSON>& greeting) {
    if (!greeting) return lose(greeting.error());
    subscribe(wishes_.topics);
    if (wishes_.meterRate > 0) call("watch", {{"rate", wishes_.meterRate}}, [](const auto&) {});
  });
}

void ControlLink::subscribe(const TopicSet& topics) {
  ControlJSON names = ControlJSON::array();
  for (const Topic topic : topics) names.push_back(name(topic));
  call("subscribe", {{"topics", names}}, [this](const Outcome<ControlJSON>& result) {
    if (!result) return lose(result.error());
    takeSnapshot(*result);
    if (!std::exchange(isReady_, true)) handlers_.connected();
  });
}

void ControlLink::call(const std::string& method, const ControlJSON& params, Done done) {
  if (!socket_.valid()) return done(std::unexpected(lost("Sonmere is not running")));
  const int id = nextID_++;
  waiting_[id] = std::move(done);
  out_ += controlRequestText(id, method, params);
}

void ControlLink::flush() {
  while (socket_.valid() && !out_.empty()) {
    const ssize_t size = ::send(socket_.get(), out_.data(), out_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (size < 0 && errno == EINTR) continue;
    // Who was turned away finds the reason when it reads.
    if (size < 0 && errno == EPIPE) return out_.clear();
    if (size < 0) return;
    out_.erase(0, std::size_t(size));
  }
}

void ControlLink::readSome() {
  std::array<char, 16384> bytes;
  while (socket_.valid()) {
    const ssize_t size = ::recv(socket_.get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
    if (size <= 0) return lose(lost("Sonmere has ended"));
    framer_.append({bytes.data(), std::size_t(size)});
    while (const auto line = framer_.next()) handleSafely(*line);
  }
}

// A message whose members have other forms than this side knows is no message.
void ControlLink::handleSafely(const std::string& line) {
  try {
    handle(line);
  } catch (const nlohmann::json::exception&) {
    lose(lost("Sonmere answered something that is no message"));
  }
}

void ControlLink::handle(const std::string& line) {
  if (!socket_.valid()) return;  // lost with a line before
  const auto message = ControlJSON::parse(line, nullptr, false);
  if (!message.is_object()) return lose(lost("Sonmere answered something that is no message"));
  if (message.contains("method")) return take(message);
  const ControlJSON id = message.value("id", ControlJSON());
  const auto error = message.find("error");
  const bool isError = error != message.end() && error->is_object();
  if (isError && id.is_null()) return lose(controlAnswerError(*error));
  const auto waiting = id.is_number_integer() ? waiting_.find(int(id)) : waiting_.end();
  if (waiting == waiting_.end()) return;
  const Done done = std::move(waiting->second);
  waiting_.erase(waiting);
  isError ? done(std::unexpected(controlAnswerError(*error))) : done(message.value("result", ControlJSON()));
}

void ControlLink::take(const ControlJSON& notification) {
  const ControlJSON params = notification.value("params", ControlJSON::object());
  if (notification["method"] == "meters") return handlers_.metered(params);
  if (notification["method"] == "changed") takeChange(params);
}

void ControlLink::takeSnapshot(const ControlJSON& result) {
  const ControlJSON topics = result.value("topics", ControlJSON::object());
  for (const auto& item : topics.items()) {
    const auto topic = topicNamed(item.key());
    if (!topic) continue;
    Known& known = topics_[*topic];
    known = {item.value().value("version", std::int64_t(0)),
             TopicJSON(item.value().value("value", ControlJSON()))};
    handlers_.changed(*topic, known.value);
  }
}

void ControlLink::takeChange(const ControlJSON& params) {
  const auto topic = topicNamed(params.value("topic", std::string()));
  if (!topic) return;
  Known& known = topics_[*topic];
  // What does not follow from what is known here is asked for as a whole.
  if (params.value("from", std::int64_t(-1)) != known.version) return subscribe({*topic});
  known.version = params.value("version", std::int64_t(0));
  known.value.merge_patch(TopicJSON(params.value("patch", ControlJSON::object())));
  handlers_.changed(*topic, known.value);
}

void ControlLink::lose(const Error& why) {
  if (!socket_.valid()) return;
  socket_ = FileDescriptor();
  out_.clear();
  isReady_ = false;
  const auto waiting = std::exchange(waiting_, {});
  for (const auto& [id, done] : waiting) done(std::unexpected(why));
  handlers_.disconnected(why);
}

}  // namespace sonmere
