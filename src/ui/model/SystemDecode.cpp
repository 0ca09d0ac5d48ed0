#include "ui/model/SystemDecode.h"

#include "control/RuleCodec.h"

namespace sonmere {

SystemAudioState decodeSystemAudio(const TopicJSON& json) {
  const TopicJSON& facts = objectAt(json, "facts");
  const TopicJSON& wishes = objectAt(json, "wishes");
  SystemAudioState system;
  system.isEnabled = memberOr(wishes, "enabled", false);
  system.isFollowing = memberOr(wishes, "following", false);
  system.output = memberOr<std::string>(wishes, "output", {});
  system.isWhole = memberOr(facts, "whole", false);
  system.outputName = memberOr(facts, "outputName", system.output);
  system.wasEndedByUpdate = memberOr(facts, "endedByUpdate", false);
  system.error = memberIf<std::string>(facts, "error");
  visitInOrder(json, "devices", [&](const std::string& id, const TopicJSON& device) {
    system.devices.push_back({id, memberOr(device, "name", id), memberOr(device, "chosen", false)});
  });
  return system;
}

MixState decodeMix(const TopicJSON& json) {
  const TopicJSON& facts = objectAt(json, "facts");
  const TopicJSON& wishes = objectAt(json, "wishes");
  const TopicJSON& catchAll = objectAt(wishes, "catchAll");
  MixState mix;
  mix.isEnabled = memberOr(wishes, "enabled", false);
  mix.isForbidden = memberOr(facts, "forbidden", false);
  mix.heals = memberOr(facts, "heals", 0);
  mix.includesCatchAll = memberOr(catchAll, "enabled", false);
  mix.isCatchAllRunning = memberOr(catchAll, "running", false);
  mix.catchAllVolume = memberOr(catchAll, "volume", 1.0f);
  mix.isAuditioning = memberOr(wishes, "audition", false);
  mix.hearsTracks = memberOr(wishes, "hearsTracks", false);
  for (const auto& [number, track] : objectAt(json, "tracks").items())
    mix.tracks.push_back(
        {memberOr(track, "track", 0), memberOr(track, "volume", 1.0f), memberOr(track, "muted", false)});
  visitInOrder(json, "apps", [&](const std::string& id, const TopicJSON& app) {
    mix.apps.push_back({id, memberOr(app, "name", id), memberOr(app, "hear", 1.0f),
                        memberOr(app, "stream", 1.0f), memberOr(app, "linked", true)});
  });
  return mix;
}

namespace {

DAWState::Combined decodeCombined(const TopicJSON& json) {
  DAWState::Combined combined;
  combined.device = memberOr<std::string>(json, "device", {});
  combined.name = memberOr<std::string>(json, "name", {});
  combined.isPresent = memberOr(json, "present", false);
  combined.error = memberIf<std::string>(json, "error");
  const auto members = json.find("members");
  if (members == json.end() || !members->is_array()) return combined;
  for (const TopicJSON& each : *members)
    combined.members.push_back({memberOr<std::string>(each, "id", {}),
                                memberOr<std::string>(each, "name", {}), memberOr(each, "channels", 0),
                                memberOr(each, "first", 1)});
  return combined;
}

std::optional<RuleState> decodeRuleState(const TopicJSON& json) {
  const auto rule = decodeRule(ControlJSON(objectAt(json, "when")), ControlJSON(objectAt(json, "act")));
  if (!rule) return std::nullopt;
  RuleState state{*rule, memberOr(json, "active", false), memberIf<std::string>(json, "problem")};
  state.rule.id = memberOr(json, "rule", 0);
  state.rule.isEnabled = memberOr(json, "enabled", true);
  return state;
}

}  // namespace

DAWState decodeDAW(const TopicJSON& json) {
  const TopicJSON& facts = objectAt(json, "facts");
  DAWState daw;
  daw.isEnabled = memberOr(objectAt(json, "wishes"), "enabled", false);
  daw.isPresent = memberOr(facts, "present", false);
  daw.name = memberOr<std::string>(facts, "name", {});
  daw.inputs = memberOr(facts, "inputs", 0);
  daw.outputs = memberOr(facts, "outputs", 0);
  daw.error = memberIf<std::string>(facts, "error");
  if (const TopicJSON& combined = objectAt(json, "combined"); !combined.empty())
    daw.combined = decodeCombined(combined);
  return daw;
}

std::vector<RuleState> decodeRuleStates(const TopicJSON& json) {
  std::vector<RuleState> rules;
  const TopicJSON& told = objectAt(json, "rules");
  const auto order = json.is_object() ? json.find("order") : json.end();
  if (order == json.end() || !order->is_array()) return rules;
  for (const TopicJSON& number : *order) {
    const auto found = told.find(number.dump());
    if (found == told.end()) continue;
    if (auto rule = decodeRuleState(*found)) rules.push_back(std::move(*rule));
  }
  return rules;
}

std::vector<ProfileState> decodeProfiles(const TopicJSON& json) {
  std::vector<ProfileState> profiles;
  visitInOrder(json, "profiles", [&](const std::string& id, const TopicJSON& told) {
    ProfileState profile{id, memberOr(told, "name", id), {}};
    if (const auto apps = told.find("apps"); apps != told.end() && apps->is_array())
      for (const TopicJSON& app : *apps)
        if (app.is_string()) profile.apps.push_back(app.get<std::string>());
    profiles.push_back(std::move(profile));
  });
  return profiles;
}

}  // namespace sonmere
