// The tap guard: see TapGuard.h. Arguments: the server's remote name, may be empty. Descriptor 3 is the
// shared page, 4 ends when the program does.

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <set>
#include <string>

#include "platform/pipewire/GuardPage.h"

namespace {

constexpr int kMemoryNumber = 3, kWakeNumber = 4;
constexpr int kLookInterval = 1000;   // ms
constexpr time_t kServerTimeout = 2;  // seconds

// One visit to the server, after which no stream has one of the serials as its target.
class Visit {
 public:
  Visit(const char* remote, const std::set<std::string>& serials) : remote_(remote), serials_(serials) {}

  // False: the server is there, but did not answer. One that has gone has left no targets.
  bool run() {
    loop_ = pw_main_loop_new(nullptr);
    context_ = pw_context_new(pw_main_loop_get_loop(loop_), nullptr, 0);
    pw_properties* properties = pw_properties_new(nullptr, nullptr);
    if (*remote_) pw_properties_set(properties, PW_KEY_REMOTE_NAME, remote_);
    core_ = pw_context_connect(context_, properties, 0);
    if (core_) talk();
    if (metadata_) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(metadata_));
    if (registry_) pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
    if (core_) pw_core_disconnect(core_);
    pw_context_destroy(context_);
    pw_main_loop_destroy(loop_);
    return !isSilent_;
  }

 private:
  void talk() {
    static const pw_core_events kCoreEvents = [] {
      pw_core_events events{};
      events.version = PW_VERSION_CORE_EVENTS;
      events.done = [](void* data, std::uint32_t, int) { static_cast<Visit*>(data)->step(); };
      events.error = [](void* data, std::uint32_t id, int, int, const char*) {
        if (id == PW_ID_CORE) pw_main_loop_quit(static_cast<Visit*>(data)->loop_);
      };
      return events;
    }();
    static const pw_registry_events kRegistryEvents = [] {
      pw_registry_events events{};
      events.version = PW_VERSION_REGISTRY_EVENTS;
      events.global = [](void* data, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                         const spa_dict* properties) {
        static_cast<Visit*>(data)->found(id, type, properties);
      };
      return events;
    }();
    pw_core_add_listener(core_, &coreHook_, &kCoreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &registryHook_, &kRegistryEvents, this);
    pw_core_sync(core_, PW_ID_CORE, 0);
    // A server that does not answer ends the visit; it is made again at the next look.
    spa_source* timer = pw_loop_add_timer(
        pw_main_loop_get_loop(loop_),
        [](void* data, std::uint64_t) {
          static_cast<Visit*>(data)->isSilent_ = true;
          pw_main_loop_quit(static_cast<Visit*>(data)->loop_);
        },
        this);
    timespec timeout{kServerTimeout, 0};
    pw_loop_update_timer(pw_main_loop_get_loop(loop_), timer, &timeout, nullptr, false);
    pw_main_loop_run(loop_);
    pw_loop_destroy_source(pw_main_loop_get_loop(loop_), timer);
    spa_hook_remove(&registryHook_);
    spa_hook_remove(&coreHook_);
    if (metadata_) spa_hook_remove(&metadataHook_);
  }

  void found(std::uint32_t id, const char* type, const spa_dict* properties) {
    static const pw_metadata_events kEvents = {
        .version = PW_VERSION_METADATA_EVENTS,
        .property = [](void* data, std::uint32_t subject, const char* key, const char*, const char* value) {
          auto* self = static_cast<Visit*>(data);
          if (key && value && std::strcmp(key, "target.object") == 0 && self->serials_.contains(value))
            self->subjects_.insert(subject);
          return 0;
        }};
    const char* name = properties ? spa_dict_lookup(properties, PW_KEY_METADATA_NAME) : nullptr;
    if (std::strcmp(type, PW_TYPE_INTERFACE_Metadata) != 0 || !name || std::strcmp(name, "default") != 0)
      return;
    metadata_ = static_cast<pw_metadata*>(pw_registry_bind(registry_, id, type, PW_VERSION_METADATA, 0));
    pw_metadata_add_listener(metadata_, &metadataHook_, &kEvents, this);
  }

  // First the objects, then the table's values, then the removals have been answered.
  void step() {
    if (++steps_ == 2)
      for (const std::uint32_t subject : subjects_)
        pw_metadata_set_property(metadata_, subject, "target.object", nullptr, nullptr);
    if (steps_ == 3)
      pw_main_loop_quit(loop_);
    else
      pw_core_sync(core_, PW_ID_CORE, 0);
  }

  const char* const remote_;
  const std::set<std::string>& serials_;
  pw_main_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  pw_metadata* metadata_ = nullptr;
  spa_hook coreHook_{}, registryHook_{}, metadataHook_{};
  std::set<std::uint32_t> subjects_;
  int steps_ = 0;
  bool isSilent_ = false;
};

std::set<std::string> serialsOf(const sonmere::GuardPage& page) {
  std::set<std::string> serials;
  for (const auto& place : page.serials)
    if (const std::uint32_t serial = place.load(std::memory_order_acquire))
      serials.insert(std::to_string(serial));
  return serials;
}

enum class Wake { look, news, end };

Wake sleep(bool isWatching) {
  pollfd wake{kWakeNumber, POLLIN, 0};
  if (poll(&wake, 1, isWatching ? kLookInterval : -1) <= 0) return Wake::look;
  char bytes[64];
  return recv(kWakeNumber, bytes, sizeof bytes, MSG_DONTWAIT) > 0 ? Wake::news : Wake::end;
}

// From here on two processes run: the guard, to which this returns, and a twin that waits for its end and
// becomes the guard, with a twin of its own, unless it is told that nothing is left to do.
class Twin {
 public:
  Twin() {
    int ends[2] = {-1, -1};
    while (pipe(ends) == 0) {
      const pid_t twin = fork();
      toTwin_ = ends[1];
      if (twin != 0) {
        close(ends[0]);
        return;
      }
      close(ends[1]);
      char word = 0;
      if (read(ends[0], &word, 1) != 0) _exit(0);
      close(ends[0]);
    }
  }
  ~Twin() { (void)!write(toTwin_, "", 1); }
  Twin(const Twin&) = delete;
  Twin& operator=(const Twin&) = delete;

 private:
  int toTwin_ = -1;
};

void guard(const sonmere::GuardPage& page, const char* remote) {
  std::uint64_t lastBeats = 0;
  bool hasLetGo = false;
  for (Wake wake = Wake::news; wake != Wake::end; wake = sleep(!serialsOf(page).empty())) {
    const std::uint64_t beats = page.beats.load(std::memory_order_relaxed);
    const bool stands = wake == Wake::look && beats == lastBeats;
    lastBeats = beats;
    hasLetGo = stands && (hasLetGo || Visit(remote, serialsOf(page)).run());
  }
  // The program has ended: what it has left is there until the server has answered.
  for (auto serials = serialsOf(page); !serials.empty(); poll(nullptr, 0, kLookInterval))
    if (Visit(remote, serials).run()) return;
}

}  // namespace

int main(int argc, char** argv) {
  void* memory =
      mmap(nullptr, sizeof(sonmere::GuardPage), PROT_READ | PROT_WRITE, MAP_SHARED, kMemoryNumber, 0);
  if (memory == MAP_FAILED) return 1;
  auto& page = *static_cast<sonmere::GuardPage*>(memory);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) std::signal(signal, SIG_IGN);
  const Twin twin;
  pw_init(nullptr, nullptr);
  page.hasLooked.store(1, std::memory_order_relaxed);
  guard(page, argc > 1 ? argv[1] : "");
  return 0;
}
