#include "platform/pipewire/MetadataMirror.h"

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

namespace sonmere {

struct MetadataMirror::Hooks {
  MetadataMirror* mirror;
  pw_metadata* metadata;
  spa_hook listener{};

  ~Hooks() {
    spa_hook_remove(&listener);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(metadata));
  }

  static int property(void* data, std::uint32_t subject, const char* key, const char*, const char* value) {
    MetadataMirror* mirror = static_cast<Hooks*>(data)->mirror;
    if (!key)
      mirror->received(subject, "", std::nullopt);
    else
      mirror->received(subject, key, value ? std::optional<std::string>(value) : std::nullopt);
    return 0;
  }
};

MetadataMirror::MetadataMirror() = default;
MetadataMirror::~MetadataMirror() = default;

void MetadataMirror::bind(pw_registry* registry, GlobalID id) {
  static const pw_metadata_events kEvents = {.version = PW_VERSION_METADATA_EVENTS,
                                             .property = Hooks::property};
  auto* metadata = static_cast<pw_metadata*>(
      pw_registry_bind(registry, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
  if (!metadata) return;
  values_.clear();
  id_ = id;
  hooks_ = std::make_unique<Hooks>(this, metadata);
  pw_metadata_add_listener(metadata, &hooks_->listener, &kEvents, hooks_.get());
  if (presenceChanged) presenceChanged(true);
}

void MetadataMirror::unbind() {
  if (!hooks_) return;
  hooks_.reset();
  values_.clear();
  if (presenceChanged) presenceChanged(false);
}

std::optional<std::string> MetadataMirror::value(GlobalID subject, const std::string& key) const {
  const auto found = values_.find({subject, key});
  return found == values_.end() ? std::nullopt : std::optional(found->second);
}

void MetadataMirror::set(GlobalID subject, const std::string& key, const std::optional<std::string>& value,
                         const char* type) {
  if (!hooks_) return;
  pw_metadata_set_property(hooks_->metadata, subject, key.c_str(), value ? type : nullptr,
                           value ? value->c_str() : nullptr);
}

void MetadataMirror::received(GlobalID subject, const std::string& key,
                              const std::optional<std::string>& value) {
  // Without a key all values of the subject go.
  if (key.empty()) {
    std::erase_if(values_, [&](const auto& entry) { return entry.first.first == subject; });
    return;
  }
  if (value)
    values_[{subject, key}] = *value;
  else
    values_.erase({subject, key});
  if (changed) changed(subject, key, value);
}

}  // namespace sonmere
