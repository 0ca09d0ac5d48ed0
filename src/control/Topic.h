#pragma once

#include <array>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace sonmere {

// What the façade tells the changes of, each by itself.
enum class Topic {
  apps,
  mixer,
  routing,
  effects,
  input,
  recording,
  devices,
  settings,
  program,
  library,
  plugins,
  monitor,
  routes,
  driver,
  daw,
  system,
  mix,
  rules
};

inline constexpr std::array kTopics{
    Topic::apps,    Topic::mixer,    Topic::routing, Topic::effects, Topic::input,   Topic::recording,
    Topic::devices, Topic::settings, Topic::program, Topic::library, Topic::plugins, Topic::monitor,
    Topic::routes,  Topic::driver,   Topic::daw,     Topic::system,  Topic::mix,     Topic::rules};

using TopicSet = std::set<Topic>;

const char* name(Topic topic);
std::optional<Topic> topicNamed(std::string_view name);
// "apps, mixer, ...", for errors.
std::string topicNames();

}  // namespace sonmere
