#include "audio/effects/PluginScope.h"

#include "audio/device/BusTable.h"

namespace sonmere {

namespace {

constexpr std::string_view kMicKey = "__mic__";
constexpr std::string_view kMasterKey = "__master__";
constexpr std::string_view kAppWord = "app:", kBusWord = "bus:";

std::optional<int> busOf(std::string_view digits) {
  if (digits.size() != 1 || digits[0] < '0' || digits[0] > '9') return std::nullopt;
  const int bus = digits[0] - '0';
  return isRoutableBus(bus) ? std::optional(bus) : std::nullopt;
}

}  // namespace

std::string PluginScope::text() const {
  if (kind == Kind::mic) return "mic";
  return kind == Kind::app ? std::string(kAppWord) + app : std::string(kBusWord) + std::to_string(bus);
}

std::optional<PluginScope> PluginScope::fromText(std::string_view text) {
  if (text == "mic") return ofMic();
  if (text.starts_with(kAppWord) && text.size() > kAppWord.size())
    return ofApp(std::string(text.substr(kAppWord.size())));
  if (!text.starts_with(kBusWord)) return std::nullopt;
  const auto bus = busOf(text.substr(kBusWord.size()));
  return bus ? std::optional(ofBus(*bus)) : std::nullopt;
}

std::string PluginScope::key() const {
  if (kind == Kind::mic) return std::string(kMicKey);
  return kind == Kind::app ? app : std::string(kMasterKey) + std::to_string(bus);
}

PluginScope PluginScope::fromKey(std::string_view key) {
  if (key == kMicKey) return ofMic();
  if (key.starts_with(kMasterKey))
    if (const auto bus = busOf(key.substr(kMasterKey.size()))) return ofBus(*bus);
  return ofApp(std::string(key));
}

}  // namespace sonmere
