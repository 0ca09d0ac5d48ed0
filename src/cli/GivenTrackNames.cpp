#include "cli/GivenTrackNames.h"

#include "app/PlatformFolders.h"
#include "control/ControlClient.h"

namespace sonmere {

TrackNames givenTrackNames() {
  TrackNames names;
  auto client = ControlClient::connect(userControlFolder());
  const auto routing = client ? client->call("routing") : std::unexpected(client.error());
  if (!routing) return names;
  for (const ControlJSON& bus : routing->value("buses", ControlJSON::array()))
    if (const auto name = bus.find("givenName"); name != bus.end() && name->is_string())
      names[bus.value("bus", 0)] = *name;
  return names;
}

}  // namespace sonmere
