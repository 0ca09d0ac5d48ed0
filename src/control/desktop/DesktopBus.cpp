#include "control/desktop/DesktopBus.h"

#include <fmt/format.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstring>

#include "control/desktop/BusValues.h"

namespace sonmere {

namespace {

constexpr const char* kErrorName = "com.sonmere.Sonmere1.Error.Failed";

// Clients of the bus are told changes by its signals.
struct BusPeer final : ControlPeer {
  ControlJSON subscribe(const TopicSet&) override { return ControlJSON::object(); }
  void unsubscribe(const TopicSet&) override {}
  void watch(std::optional<Duration>, const std::string&) override {}
};

using Message = std::shared_ptr<sd_bus_message>;
Message hold(sd_bus_message* message) { return {sd_bus_message_ref(message), sd_bus_message_unref}; }

struct Free {
  void operator()(char* text) const { std::free(text); }
};
using Text = std::unique_ptr<char, Free>;

const BusProperty* propertyNamed(const BusKind& kind, std::string_view name) {
  const auto found = std::ranges::find(kind.properties, name, &BusProperty::name);
  return found == kind.properties.end() ? nullptr : &*found;
}

// No element of a path begins with a digit.
constexpr std::string_view kBusWord = "bus";

bool isNumber(std::string_view key) {
  return !key.empty() && key.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string pathOf(const BusKind& kind, const std::string& key) {
  if (!kind.key) return kind.path;
  const std::string word = kind.isKeyNumber && isNumber(key) ? std::string(kBusWord) + key : key;
  char* path = nullptr;
  if (sd_bus_path_encode(kind.path, word.c_str(), &path) < 0) return {};
  return Text(path).get();
}

// Nothing where the path is none of this kind's.
std::optional<std::string> keyOf(const BusKind& kind, const char* path) {
  if (!kind.key) return std::string_view(path) == kind.path ? std::optional(std::string()) : std::nullopt;
  char* key = nullptr;
  if (sd_bus_path_decode(path, kind.path, &key) <= 0) return std::nullopt;
  std::string word = Text(key).get();
  if (kind.isKeyNumber && word.starts_with(kBusWord) && isNumber(word.substr(kBusWord.size())))
    word.erase(0, kBusWord.size());
  return word;
}

// What has no number is called by its word, as `"mic": true`.
void nameObject(const BusKind& kind, const std::string& key, ControlJSON& params) {
  if (!kind.key) return;
  if (!kind.isKeyNumber)
    params[kind.key] = key;
  else if (isNumber(key))
    params[kind.key] = ControlJSON::parse(key);
  else
    params[key] = true;
}

}  // namespace

// The objects of one kind on the bus.
struct DesktopBus::Publication {
  DesktopBus& service;
  const BusKind& kind;
  std::vector<sd_bus_vtable> table;
  std::map<std::string, ControlJSON> told;  // by key
};

// What the bus calls.
struct DesktopBus::Handlers {
  static int find(sd_bus*, const char* path, const char*, void* data, void** found, sd_bus_error*) {
    auto* publication = static_cast<Publication*>(data);
    const auto key = keyOf(publication->kind, path);
    if (!key || !publication->kind.values(publication->service.control_).contains(*key)) return 0;
    *found = data;
    return 1;
  }
  static int list(sd_bus*, const char*, void* data, char*** nodes, sd_bus_error*) {
    auto* publication = static_cast<Publication*>(data);
    const auto values = publication->kind.values(publication->service.control_);
    auto** paths = static_cast<char**>(std::calloc(values.size() + 1, sizeof(char*)));
    if (!paths) return -ENOMEM;
    *nodes = paths;
    for (const auto& [key, value] : values) *paths++ = strdup(pathOf(publication->kind, key).c_str());
    return 0;
  }
  static int get(sd_bus*, const char* path, const char*, const char* name, sd_bus_message* reply, void* data,
                 sd_bus_error*) {
    auto* publication = static_cast<Publication*>(data);
    const BusProperty* property = propertyNamed(publication->kind, name);
    const auto key = keyOf(publication->kind, path);
    if (!property || !key) return -ENOENT;
    const auto values = publication->kind.values(publication->service.control_);
    const auto found = values.find(*key);
    if (found == values.end()) return -ENOENT;
    return appendBusValue(reply, property->type, found->second.value(property->member, ControlJSON()));
  }
  static int set(sd_bus*, const char* path, const char*, const char* name, sd_bus_message* value, void* data,
                 sd_bus_error* error) {
    auto* publication = static_cast<Publication*>(data);
    const BusProperty* property = propertyNamed(publication->kind, name);
    const auto key = keyOf(publication->kind, path);
    if (!property || !key) return -ENOENT;
    ControlJSON params = ControlJSON::object();
    if (const int status = readBusValue(value, property->type, params[property->parameter]); status < 0)
      return status;
    nameObject(publication->kind, *key, params);
    int status = 0;
    BusPeer peer;
    publication->service.methods_.call(property->method, params, peer, [&](const auto& answer) {
      if (!answer) status = sd_bus_error_set(error, kErrorName, answer.error().description.c_str());
    });
    return status;
  }
  static int act(sd_bus_message* message, void* data, sd_bus_error*) {
    auto* publication = static_cast<Publication*>(data);
    const BusKind& kind = publication->kind;
    const auto act =
        std::ranges::find(kind.acts, std::string_view(sd_bus_message_get_member(message)), &BusAct::name);
    const auto key = keyOf(kind, sd_bus_message_get_path(message));
    if (act == kind.acts.end() || !key) return -ENOENT;
    ControlJSON params = act->always;
    const char* type = act->types;
    for (const char* parameter : act->parameters) {
      if (const int status = readBusValue(message, type, params[parameter]); status < 0) return status;
      type += *type == 'a' ? 2 : 1;
    }
    nameObject(kind, *key, params);
    publication->service.run(act->method, params, hold(message), act->result);
    return 1;
  }
  // Any method of the control service, parameters and answer as JSON.
  static int call(sd_bus_message* message, void* data, sd_bus_error* error) {
    const char *method = nullptr, *text = nullptr;
    if (const int status = sd_bus_message_read(message, "ss", &method, &text); status < 0) return status;
    const ControlJSON params = *text ? ControlJSON::parse(text, nullptr, false) : ControlJSON::object();
    if (!params.is_object())
      return sd_bus_error_set(error, kErrorName, "the parameters are no JSON object; {} is an empty one");
    static_cast<Publication*>(data)->service.run(method, params, hold(message), "");
    return 1;
  }
};

// Answers with that member of what the façade answers, all of it as JSON where the member is "", or with
// nothing.
void DesktopBus::run(const std::string& method, const ControlJSON& params, const Message& message,
                     const char* result) {
  BusPeer peer;
  const auto reply = lifetime_.guard([this, message, result](const Outcome<ControlJSON>& answer) {
    if (!bus_.get()) return;
    if (!answer)
      sd_bus_reply_method_errorf(message.get(), kErrorName, "%s", answer.error().description.c_str());
    else if (!result)
      sd_bus_reply_method_return(message.get(), nullptr);
    else
      sd_bus_reply_method_return(
          message.get(), "s",
          (*result ? answer->value(result, std::string())
                   : answer->dump(-1, ' ', false, ControlJSON::error_handler_t::replace))
              .c_str());
    bus_.sent();
  });
  if (!methods_.call(method, params, peer, reply))
    sd_bus_reply_method_errorf(message.get(), kErrorName,
                               "there is no method \"%s\"; the method \"methods\" lists all", method.c_str());
}

DesktopBus::DesktopBus(SessionBus& bus, Log& log, Control& control)
    : bus_(bus), log_(log), control_(control), methods_(control) {
  publish();
  changes_ = control.changes().observe([this](const TopicSet& topics) { changed(topics); });
}

DesktopBus::~DesktopBus() = default;

template <class Add>
void DesktopBus::keep(Add add) {
  sd_bus_slot* slot = nullptr;
  if (const int status = add(&slot); status < 0)
    log_.warning(fmt::format("Sonmere: not on the session bus: {}", std::strerror(-status)));
  else
    slots_.emplace_back(slot, sd_bus_slot_unref);
}

void DesktopBus::publish() {
  sd_bus* const bus = bus_.get();
  sd_bus_add_object_manager(bus, nullptr, kBusRoot);
  for (const BusKind& kind : busKinds())
    publish(publications_.emplace_back(Publication{*this, kind, {}, {}}));
  const auto named = [](sd_bus_message* answer, void* data, sd_bus_error*) {
    if (sd_bus_message_is_method_error(answer, nullptr))
      static_cast<DesktopBus*>(data)->log_.info(
          fmt::format("Sonmere: another program has the name {} on the session bus", kBusName));
    return 0;
  };
  keep([&](sd_bus_slot** slot) { return sd_bus_request_name_async(bus, slot, kBusName, 0, named, this); });
  bus_.sent();
}

void DesktopBus::publish(Publication& publication) {
  sd_bus* const bus = bus_.get();
  const BusKind& kind = publication.kind;
  auto& table = publication.table;
  table.push_back(SD_BUS_VTABLE_START(0));
  for (const BusProperty& each : kind.properties)
    if (each.method)
      table.push_back(
          SD_BUS_WRITABLE_PROPERTY(each.name, each.type, Handlers::get, Handlers::set, 0,
                                   SD_BUS_VTABLE_UNPRIVILEGED | SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE));
    else
      table.push_back(
          SD_BUS_PROPERTY(each.name, each.type, Handlers::get, 0, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE));
  for (const BusAct& each : kind.acts)
    table.push_back(SD_BUS_METHOD(each.name, each.types, each.result ? "s" : "", Handlers::act,
                                  SD_BUS_VTABLE_UNPRIVILEGED));
  if (kind.path == std::string_view(kBusRoot))
    table.push_back(SD_BUS_METHOD("Call", "ss", "s", Handlers::call, SD_BUS_VTABLE_UNPRIVILEGED));
  table.push_back(SD_BUS_VTABLE_END);
  if (kind.key) {
    keep([&](sd_bus_slot** slot) {
      return sd_bus_add_fallback_vtable(bus, slot, kind.path, kind.interface, table.data(), Handlers::find,
                                        &publication);
    });
    keep([&](sd_bus_slot** slot) {
      return sd_bus_add_node_enumerator(bus, slot, kind.path, Handlers::list, &publication);
    });
  } else {
    keep([&](sd_bus_slot** slot) {
      return sd_bus_add_object_vtable(bus, slot, kind.path, kind.interface, table.data(), &publication);
    });
  }
  publication.told = kind.values(control_);
}

void DesktopBus::changed(const TopicSet& topics) {
  if (!bus_.get()) return;
  for (Publication& publication : publications_)
    if (std::ranges::any_of(publication.kind.topics, [&](Topic topic) { return topics.contains(topic); }))
      compare(publication);
  bus_.sent();
}

// Tells what came, what went, and what is another value.
void DesktopBus::compare(Publication& publication) {
  sd_bus* const bus = bus_.get();
  const BusKind& kind = publication.kind;
  auto before = std::exchange(publication.told, kind.values(control_));
  for (const auto& [key, value] : publication.told) {
    const std::string path = pathOf(kind, key);
    const auto old = before.extract(key);
    if (!old) {
      sd_bus_emit_interfaces_added(bus, path.c_str(), kind.interface, nullptr);
      continue;
    }
    std::vector<char*> names;
    for (const BusProperty& each : kind.properties)
      if (old.mapped().value(each.member, ControlJSON()) != value.value(each.member, ControlJSON()))
        names.push_back(const_cast<char*>(each.name));
    names.push_back(nullptr);
    if (names.size() > 1)
      sd_bus_emit_properties_changed_strv(bus, path.c_str(), kind.interface, names.data());
  }
  for (const auto& [key, value] : before)
    sd_bus_emit_interfaces_removed(bus, pathOf(kind, key).c_str(), kind.interface, nullptr);
}

}  // namespace sonmere
