#include "control/Topic.h"

#include <algorithm>

namespace sonmere {

const char* name(Topic topic) {
  switch (topic) {
    case Topic::apps:
      return "apps";
    case Topic::mixer:
      return "mixer";
    case Topic::routing:
      return "routing";
    case Topic::effects:
      return "effects";
    case Topic::input:
      return "input";
    case Topic::recording:
      return "recording";
    case Topic::devices:
      return "devices";
    case Topic::settings:
      return "settings";
    case Topic::program:
      return "program";
    case Topic::library:
      return "library";
    case Topic::plugins:
      return "plugins";
    case Topic::monitor:
      return "monitor";
    case Topic::routes:
      return "routes";
    case Topic::driver:
      return "driver";
    case Topic::daw:
      return "daw";
    case Topic::system:
      return "system";
    case Topic::mix:
      return "mix";
    case Topic::rules:
      return "rules";
  }
  return "";
}

std::optional<Topic> topicNamed(std::string_view text) {
  const auto found =
      std::ranges::find(kTopics, text, [](Topic topic) { return std::string_view(name(topic)); });
  return found == kTopics.end() ? std::nullopt : std::optional(*found);
}

std::string topicNames() {
  std::string all;
  for (const Topic topic : kTopics) all += (all.empty() ? "" : ", ") + std::string(name(topic));
  return all;
}

}  // namespace sonmere
