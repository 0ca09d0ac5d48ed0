#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace sonmere {

// What a chain belongs to: the microphone, an app, or a bus.
struct PluginScope {
  enum class Kind { mic, app, bus };
  Kind kind = Kind::mic;
  std::string app;  // bundle identifier
  int bus = 0;

  static PluginScope ofMic() { return {}; }
  static PluginScope ofApp(std::string bundleID) { return {Kind::app, std::move(bundleID), 0}; }
  static PluginScope ofBus(int bus) { return {Kind::bus, {}, bus}; }

  // "mic", "app:ID", "bus:N". Reads nothing else, and no bus that apps do not route to.
  std::string text() const;
  static std::optional<PluginScope> fromText(std::string_view text);
  // What its settings are kept under, and back.
  std::string key() const;
  static PluginScope fromKey(std::string_view key);

  auto operator<=>(const PluginScope&) const = default;
};

}  // namespace sonmere
