#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platform/pipewire/GraphObjects.h"

struct pw_registry;

namespace sonmere {

// One of the server's tables of named values about its objects. Values are text, those of type JSON too.
// Guarded by the loop's lock.
class MetadataMirror {
 public:
  MetadataMirror();
  ~MetadataMirror();

  // A value was set (nothing: removed), by whomever. Loop's thread.
  std::function<void(GlobalID subject, const std::string& key, const std::optional<std::string>& value)>
      changed;
  // The table has come (true) or gone. Loop's thread.
  std::function<void(bool isPresent)> presenceChanged;

  void bind(pw_registry* registry, GlobalID id);
  // The table is gone, or the connection is.
  void unbind();
  bool isPresent() const { return hooks_ != nullptr; }
  bool isBoundTo(GlobalID id) const { return isPresent() && id == id_; }

  std::optional<std::string> value(GlobalID subject, const std::string& key) const;
  // Nothing removes the value. Without effect while the table is not there.
  void set(GlobalID subject, const std::string& key, const std::optional<std::string>& value,
           const char* type = nullptr);

 private:
  struct Hooks;
  void received(GlobalID subject, const std::string& key, const std::optional<std::string>& value);

  GlobalID id_ = 0;
  std::unique_ptr<Hooks> hooks_;
  std::map<std::pair<GlobalID, std::string>, std::string> values_;
};

}  // namespace sonmere
