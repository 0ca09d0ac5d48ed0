#include "recording/RecordedSource.h"

#include <charconv>

namespace sonmere {

std::string recordedSourceName(int source) {
  if (source == kMicSource) return "mic";
  if (source == kAppsSource) return "apps";
  return "input " + std::to_string(kFirstInputSource - source + 1);
}

std::optional<int> recordedSourceNamed(std::string_view name) {
  if (name == "mic") return kMicSource;
  if (name == "apps") return kAppsSource;
  constexpr std::string_view kInput = "input ";
  if (!name.starts_with(kInput)) return std::nullopt;
  int number = 0;
  const auto [end, error] = std::from_chars(name.data() + kInput.size(), name.data() + name.size(), number);
  if (error != std::errc() || end != name.data() + name.size() || number < 1) return std::nullopt;
  return kFirstInputSource - number + 1;
}

}  // namespace sonmere
