#include "platform/pipewire/ServerConnection.h"

#include <pipewire/pipewire.h>

#include <cerrno>
#include <cstring>

namespace sonmere {

namespace {

// A server that restarts is back within this time or two; one that stays away is asked less often.
constexpr Duration kRetry = fromMilliseconds(200);
constexpr Duration kLateRetry = std::chrono::seconds(1);
constexpr int kEarlyRetries = 50;
// The first answer comes with the list of objects, the second with what was asked about each.
constexpr int kSyncsToReady = 2;

pw_core* connectTo(pw_context* context, const std::string& remote) {
  pw_properties* properties = pw_properties_new(nullptr, nullptr);
  if (!remote.empty()) pw_properties_set(properties, PW_KEY_REMOTE_NAME, remote.c_str());
  return pw_context_connect(context, properties, 0);
}

}  // namespace

struct ServerConnection::Hooks {
  ServerConnection* connection;
  spa_hook listener{};

  static void done(void* data, std::uint32_t id, int sequence) {
    if (id == PW_ID_CORE) static_cast<Hooks*>(data)->connection->synced(sequence);
  }
  static void error(void* data, std::uint32_t id, int, int status, const char*) {
    if (id == PW_ID_CORE) static_cast<Hooks*>(data)->connection->failed(status);
  }
};

ServerConnection::ServerConnection(PipeWireLoop& loop, std::string remote)
    : loop_(loop), remote_(std::move(remote)) {
  const PipeWireLoop::Lock lock(loop_);
  retryTimer_ = pw_loop_add_timer(
      loop_.events(),
      [](void* data, std::uint64_t) {
        auto* self = static_cast<ServerConnection*>(data);
        self->disconnect();
        self->connect();
      },
      this);
}

ServerConnection::~ServerConnection() {
  const PipeWireLoop::Lock lock(loop_);
  pw_loop_destroy_source(loop_.events(), retryTimer_);
  disconnect();
}

void ServerConnection::start() { connect(); }

void ServerConnection::connect() {
  static const pw_core_events kEvents = {.version = PW_VERSION_CORE_EVENTS,
                                         .info = nullptr,
                                         .done = Hooks::done,
                                         .ping = nullptr,
                                         .error = Hooks::error,
                                         .remove_id = nullptr,
                                         .bound_id = nullptr,
                                         .add_mem = nullptr,
                                         .remove_mem = nullptr};
  core_ = connectTo(loop_.context(), remote_);
  if (!core_) {
    scheduleRetry(retries_++ < kEarlyRetries ? kRetry : kLateRetry);
    return;
  }
  retries_ = 0;
  isReady_ = false;
  hooks_ = std::make_unique<Hooks>(this);
  pw_core_add_listener(core_, &hooks_->listener, &kEvents, hooks_.get());
  connected(core_);
  syncsToReady_ = kSyncsToReady;
  readySequence_ = pw_core_sync(core_, PW_ID_CORE, 0);
}

void ServerConnection::disconnect() {
  if (!core_) return;
  lost();
  pings_.clear();
  spa_hook_remove(&hooks_->listener);
  pw_core_disconnect(core_);
  core_ = nullptr;
  hooks_.reset();
  loop_.wake();
}

void ServerConnection::scheduleRetry(Duration delay) {
  timespec value{0, long(delay.count())};
  value.tv_sec = delay.count() / 1'000'000'000;
  value.tv_nsec = delay.count() % 1'000'000'000;
  pw_loop_update_timer(loop_.events(), retryTimer_, &value, nullptr, false);
}

void ServerConnection::synced(int sequence) {
  if (!isReady_ && sequence == readySequence_) {
    if (--syncsToReady_ > 0) {
      readySequence_ = pw_core_sync(core_, PW_ID_CORE, 0);
      return;
    }
    isReady_ = true;
    ready();
    loop_.wake();
    return;
  }
  if (auto ping = pings_.extract(sequence)) ping.mapped()();
}

// Not from inside the callback: the connection's own objects are on the stack.
void ServerConnection::failed(int status) {
  if (status == -EPIPE) scheduleRetry(fromMilliseconds(1));
}

void ServerConnection::ping(std::function<void()> answered) {
  if (core_) pings_[pw_core_sync(core_, PW_ID_CORE, 0)] = std::move(answered);
}

bool ServerConnection::answers(const std::string& remote, Duration timeout, std::string& reason) {
  struct Probe {
    PipeWireLoop loop;
    spa_hook listener{};
    bool isDone = false, isDead = false;
  };
  static const pw_core_events kEvents = {.version = PW_VERSION_CORE_EVENTS,
                                         .info = nullptr,
                                         .done =
                                             [](void* data, std::uint32_t, int) {
                                               auto* probe = static_cast<Probe*>(data);
                                               probe->isDone = true;
                                               probe->loop.wake();
                                             },
                                         .ping = nullptr,
                                         .error =
                                             [](void* data, std::uint32_t, int, int, const char*) {
                                               auto* probe = static_cast<Probe*>(data);
                                               probe->isDead = true;
                                               probe->loop.wake();
                                             },
                                         .remove_id = nullptr,
                                         .bound_id = nullptr,
                                         .add_mem = nullptr,
                                         .remove_mem = nullptr};
  Probe probe;
  const PipeWireLoop::Lock lock(probe.loop);
  pw_core* core = connectTo(probe.loop.context(), remote);
  if (!core) {
    reason = std::string("no PipeWire server: ") + std::strerror(errno);
    return false;
  }
  pw_core_add_listener(core, &probe.listener, &kEvents, &probe);
  pw_core_sync(core, PW_ID_CORE, 0);
  probe.loop.waitUntil([&] { return probe.isDone || probe.isDead; }, timeout);
  spa_hook_remove(&probe.listener);
  pw_core_disconnect(core);
  if (!probe.isDone) reason = "the PipeWire server does not answer";
  return probe.isDone;
}

}  // namespace sonmere
