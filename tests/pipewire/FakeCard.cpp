#include "FakeCard.h"

#include <pipewire/pipewire.h>

#include <spa/monitor/device.h>
#include <spa/monitor/utils.h>
#include <spa/param/param.h>
#include <spa/param/route.h>
#include <spa/pod/builder.h>
#include <spa/utils/result.h>

namespace sonmere {

struct FakeCard::Parts {
  pw_thread_loop* loop = nullptr;
  pw_context* context = nullptr;
  pw_core* core = nullptr;
  pw_proxy* proxy = nullptr;
  spa_device device{};
  spa_hook_list listeners{};
  std::vector<Route> routes;
  spa_param_info parameter{};

  void tell() {
    spa_device_info info = SPA_DEVICE_INFO_INIT();
    info.change_mask = SPA_DEVICE_CHANGE_MASK_PARAMS;
    info.params = &parameter;
    info.n_params = 1;
    spa_device_emit_info(&listeners, &info);
  }

  static int listen(void* object, spa_hook* listener, const spa_device_events* events, void* data) {
    auto* self = static_cast<Parts*>(object);
    spa_hook_list before;
    spa_hook_list_isolate(&self->listeners, &before, listener, events, data);
    self->tell();
    spa_hook_list_join(&self->listeners, &before);
    return 0;
  }
  static int synchronise(void* object, int sequence) {
    spa_device_emit_result(&static_cast<Parts*>(object)->listeners, sequence, 0, 0, nullptr);
    return 0;
  }
  static int parameters(void* object, int sequence, std::uint32_t id, std::uint32_t start,
                        std::uint32_t count, const spa_pod*) {
    auto* self = static_cast<Parts*>(object);
    if (id != SPA_PARAM_Route) return -ENOENT;
    for (std::uint32_t i = start; i < std::min(std::size_t(start) + count, self->routes.size()); ++i) {
      std::uint8_t space[1024];
      const Route& route = self->routes[i];
      spa_result_device_params result{.id = id, .index = i, .next = i + 1, .param = build(route, i, space)};
      spa_device_emit_result(&self->listeners, sequence, 0, SPA_RESULT_TYPE_DEVICE_PARAMS, &result);
    }
    return 0;
  }
  static spa_pod* build(const Route& route, std::uint32_t index, std::uint8_t (&space)[1024]) {
    spa_pod_builder builder{};
    builder.data = space;
    builder.size = sizeof space;
    spa_pod_frame object, pairs;
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_ParamRoute, SPA_PARAM_Route);
    spa_pod_builder_add(
        &builder, SPA_PARAM_ROUTE_index, SPA_POD_Int(std::int32_t(index)), SPA_PARAM_ROUTE_direction,
        SPA_POD_Id(route.isOutput ? SPA_DIRECTION_OUTPUT : SPA_DIRECTION_INPUT), SPA_PARAM_ROUTE_device,
        SPA_POD_Int(route.device), SPA_PARAM_ROUTE_name, SPA_POD_String(route.name.c_str()), 0);
    spa_pod_builder_prop(&builder, SPA_PARAM_ROUTE_info, 0);
    spa_pod_builder_push_struct(&builder, &pairs);
    spa_pod_builder_int(&builder, 2);
    for (const char* text : {"card.profile.port", "7", "port.type", route.portType.c_str()})
      spa_pod_builder_string(&builder, text);
    spa_pod_builder_pop(&builder, &pairs);
    return static_cast<spa_pod*>(spa_pod_builder_pop(&builder, &object));
  }
};

FakeCard::FakeCard(const std::string& socket, std::map<std::string, std::string> properties,
                   std::vector<Route> routes)
    : parts_(std::make_unique<Parts>()) {
  static const spa_device_methods kMethods = {.version = SPA_VERSION_DEVICE_METHODS,
                                              .add_listener = Parts::listen,
                                              .sync = Parts::synchronise,
                                              .enum_params = Parts::parameters,
                                              .set_param = nullptr};
  Parts& parts = *parts_;
  parts.routes = std::move(routes);
  parts.parameter = SPA_PARAM_INFO(SPA_PARAM_Route, SPA_PARAM_INFO_READ);
  spa_hook_list_init(&parts.listeners);
  parts.device.iface = {SPA_TYPE_INTERFACE_Device, SPA_VERSION_DEVICE, {&kMethods, &parts}};
  pw_init(nullptr, nullptr);
  parts.loop = pw_thread_loop_new("card", nullptr);
  parts.context = pw_context_new(pw_thread_loop_get_loop(parts.loop), nullptr, 0);
  pw_thread_loop_start(parts.loop);
  pw_thread_loop_lock(parts.loop);
  parts.core =
      pw_context_connect(parts.context, pw_properties_new(PW_KEY_REMOTE_NAME, socket.c_str(), nullptr), 0);
  pw_properties* all = pw_properties_new(PW_KEY_MEDIA_CLASS, "Audio/Device", nullptr);
  for (const auto& [key, value] : properties) pw_properties_set(all, key.c_str(), value.c_str());
  if (parts.core)
    parts.proxy = pw_core_export(parts.core, SPA_TYPE_INTERFACE_Device, &all->dict, &parts.device, 0);
  pw_properties_free(all);
  pw_thread_loop_unlock(parts.loop);
}

FakeCard::~FakeCard() {
  pw_thread_loop_lock(parts_->loop);
  if (parts_->proxy) pw_proxy_destroy(parts_->proxy);
  if (parts_->core) pw_core_disconnect(parts_->core);
  pw_thread_loop_unlock(parts_->loop);
  pw_thread_loop_stop(parts_->loop);
  pw_context_destroy(parts_->context);
  pw_thread_loop_destroy(parts_->loop);
}

std::uint32_t FakeCard::id() const {
  pw_thread_loop_lock(parts_->loop);
  const std::uint32_t id = parts_->proxy ? pw_proxy_get_bound_id(parts_->proxy) : SPA_ID_INVALID;
  pw_thread_loop_unlock(parts_->loop);
  return id == SPA_ID_INVALID ? 0 : id;
}

void FakeCard::change(std::vector<Route> routes) {
  pw_thread_loop_lock(parts_->loop);
  parts_->routes = std::move(routes);
  // What tells apart two tellings of the same parameter.
  parts_->parameter.flags ^= SPA_PARAM_INFO_SERIAL;
  parts_->tell();
  pw_thread_loop_unlock(parts_->loop);
}

}  // namespace sonmere
