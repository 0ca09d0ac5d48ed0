#include "platform/pipewire/ServerSnapshot.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

#include <cerrno>
#include <cstring>
#include <list>
#include <nlohmann/json.hpp>

#include "platform/pipewire/PipeWireLoop.h"

namespace sonmere {

namespace {

std::string textOf(const spa_dict* properties, const char* key) {
  const char* const value = properties ? spa_dict_lookup(properties, key) : nullptr;
  return value ? value : "";
}

// {"name":"..."}
std::string nameIn(const char* value) {
  const auto json = nlohmann::json::parse(value, nullptr, false);
  return json.is_object() ? json.value("name", std::string()) : std::string();
}

// A visit to the server in three steps: its objects, the values of its tables, and what was let go of.
class Visit {
 public:
  explicit Visit(const SnapshotWish& wish) : wish_(wish) {}

  ServerSnapshot run(const std::string& remote, Duration timeout) {
    const PipeWireLoop::Lock lock(loop_);
    pw_properties* properties = pw_properties_new(nullptr, nullptr);
    if (!remote.empty()) pw_properties_set(properties, PW_KEY_REMOTE_NAME, remote.c_str());
    core_ = pw_context_connect(loop_.context(), properties, 0);
    if (!core_) {
      seen_.reason = std::string("no PipeWire server: ") + std::strerror(errno);
      return seen_;
    }
    talk();
    loop_.waitUntil([this] { return isDead_ || (steps_ == kSteps && (!wish_.until || wish_.until(seen_))); },
                    timeout);
    leave();
    seen_.answers = steps_ == kSteps;
    if (!seen_.answers) seen_.reason = "the PipeWire server does not answer";
    return seen_;
  }

 private:
  static constexpr int kSteps = 3;
  struct Table {
    Visit* visit = nullptr;
    std::string name;
    pw_metadata* proxy = nullptr;
    spa_hook hook{};
  };

  void talk() {
    static const pw_core_events kCoreEvents = [] {
      pw_core_events events{};
      events.version = PW_VERSION_CORE_EVENTS;
      events.info = [](void* data, const pw_core_info* info) {
        if (info->version) static_cast<Visit*>(data)->seen_.version = info->version;
      };
      events.done = [](void* data, std::uint32_t, int) { static_cast<Visit*>(data)->step(); };
      events.error = [](void* data, std::uint32_t id, int, int, const char*) {
        if (id == PW_ID_CORE) static_cast<Visit*>(data)->died();
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
      events.global_remove = [](void* data, std::uint32_t id) {
        std::erase_if(static_cast<Visit*>(data)->seen_.nodes,
                      [id](const auto& node) { return node.id == id; });
        static_cast<Visit*>(data)->loop_.wake();
      };
      return events;
    }();
    pw_core_add_listener(core_, &coreHook_, &kCoreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(registry_, &registryHook_, &kRegistryEvents, this);
    pw_core_sync(core_, PW_ID_CORE, 0);
  }

  void leave() {
    for (Table& table : tables_) {
      spa_hook_remove(&table.hook);
      pw_proxy_destroy(reinterpret_cast<pw_proxy*>(table.proxy));
    }
    spa_hook_remove(&registryHook_);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
    spa_hook_remove(&coreHook_);
    pw_core_disconnect(core_);
  }

  void found(std::uint32_t id, const char* type, const spa_dict* properties) {
    if (std::strcmp(type, PW_TYPE_INTERFACE_Node) == 0)
      seen_.nodes.push_back({id, textOf(properties, PW_KEY_NODE_NAME),
                             textOf(properties, PW_KEY_NODE_DESCRIPTION),
                             textOf(properties, PW_KEY_MEDIA_CLASS)});
    else if (std::strcmp(type, PW_TYPE_INTERFACE_Client) == 0)
      seen_.clients.push_back(textOf(properties, PW_KEY_APP_NAME));
    else if (std::strcmp(type, PW_TYPE_INTERFACE_Metadata) == 0)
      bind(id, textOf(properties, PW_KEY_METADATA_NAME));
    loop_.wake();
  }

  void bind(std::uint32_t id, const std::string& name) {
    if (name != "default" && name != "settings") return;
    static const pw_metadata_events kEvents = {
        .version = PW_VERSION_METADATA_EVENTS,
        .property = [](void* data, std::uint32_t subject, const char* key, const char*, const char* value) {
          const auto* table = static_cast<Table*>(data);
          if (subject == 0 && key && value) table->visit->told(table->name, key, value);
          return 0;
        }};
    Table& table = tables_.emplace_back(Table{this, name});
    table.proxy = static_cast<pw_metadata*>(
        pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
    pw_metadata_add_listener(table.proxy, &table.hook, &kEvents, &table);
  }

  void told(const std::string& table, const char* key, const char* value) {
    if (table == "settings")
      seen_.settings[key] = value;
    else
      seen_.defaults[key] = nameIn(value);
  }

  void step() {
    if (++steps_ == 2) letGo();
    if (steps_ < kSteps) pw_core_sync(core_, PW_ID_CORE, 0);
    loop_.wake();
  }

  void letGo() {
    if (!wish_.letsGoOf) return;
    for (const Table& table : tables_)
      for (const auto& [key, name] : seen_.defaults)
        if (table.name == "default" && key.starts_with("default.configured.") && wish_.letsGoOf(name))
          pw_metadata_set_property(table.proxy, 0, key.c_str(), nullptr, nullptr);
  }

  void died() {
    isDead_ = true;
    loop_.wake();
  }

  const SnapshotWish& wish_;
  PipeWireLoop loop_;
  pw_core* core_ = nullptr;
  pw_registry* registry_ = nullptr;
  spa_hook coreHook_{}, registryHook_{};
  std::list<Table> tables_;
  ServerSnapshot seen_;
  int steps_ = 0;
  bool isDead_ = false;
};

}  // namespace

ServerSnapshot takeServerSnapshot(const std::string& remote, Duration timeout, const SnapshotWish& wish) {
  return Visit(wish).run(remote, timeout);
}

}  // namespace sonmere
