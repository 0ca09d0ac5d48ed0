#include "control/SystemCodec.h"

#include "control/CodecValues.h"

namespace sonmere {

namespace {

ControlJSON combinedOf(const DAWState::Combined& combined) {
  ControlJSON members = ControlJSON::array();
  for (const auto& each : combined.members)
    members.push_back(
        {{"id", each.id}, {"name", each.name}, {"channels", each.channels}, {"first", each.first}});
  return {{"device", combined.device},
          {"name", combined.name},
          {"present", combined.isPresent},
          {"members", members},
          {"error", orNull(combined.error)}};
}

}  // namespace

ControlJSON encodeControl(const DAWState& daw) {
  return {{"enabled", daw.isEnabled},
          {"present", daw.isPresent},
          {"device", daw.device},
          {"name", daw.name},
          {"inputs", daw.inputs},
          {"outputs", daw.outputs},
          {"error", orNull(daw.error)},
          {"combined", daw.combined ? combinedOf(*daw.combined) : ControlJSON(nullptr)}};
}

ControlJSON encodeControl(const DAWChange& change) {
  return {{"daw", encodeControl(change.daw)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const SystemAudioState& system) {
  ControlJSON devices = ControlJSON::array();
  for (const auto& each : system.devices)
    devices.push_back({{"id", each.id}, {"name", each.name}, {"chosen", each.isChosen}});
  return {{"enabled", system.isEnabled},
          {"following", system.isFollowing},
          {"whole", system.isWhole},
          {"output", system.output},
          {"outputName", system.outputName},
          {"devices", devices},
          {"endedByUpdate", system.wasEndedByUpdate},
          {"error", orNull(system.error)}};
}

ControlJSON encodeControl(const SystemAudioChange& change) {
  return {{"system", encodeControl(change.system)}, {"notes", change.notes}};
}

ControlJSON encodeControl(const MixState& mix) {
  ControlJSON tracks = ControlJSON::array(), apps = ControlJSON::array();
  for (const auto& each : mix.tracks)
    tracks.push_back({{"track", each.track}, {"volume", shortest(each.volume)}, {"muted", each.isMuted}});
  for (const auto& each : mix.apps)
    apps.push_back({{"id", each.id},
                    {"name", each.name},
                    {"hear", shortest(each.hear)},
                    {"stream", shortest(each.stream)},
                    {"linked", each.isLinked}});
  return {{"enabled", mix.isEnabled},
          {"forbidden", mix.isForbidden},
          {"catchAll",
           {{"enabled", mix.includesCatchAll},
            {"running", mix.isCatchAllRunning},
            {"volume", shortest(mix.catchAllVolume)}}},
          {"audition", mix.isAuditioning},
          {"hearsTracks", mix.hearsTracks},
          {"tracks", tracks},
          {"apps", apps},
          {"heals", mix.heals}};
}

ControlJSON encodeControl(const MixChange& change) {
  return {{"mix", encodeControl(change.mix)}, {"notes", change.notes}};
}

}  // namespace sonmere
