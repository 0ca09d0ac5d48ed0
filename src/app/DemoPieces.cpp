#include "app/DemoPieces.h"

#include "app/Resources.h"
#include "audio/device/BusTable.h"

namespace sonmere {

Outcome<std::vector<DemoPiece>> demoPieces() {
  const auto folder = resourceFolder();
  if (!folder) return std::unexpected(folder.error());
  const auto piece = [&](const char* id, int bus) {
    return DemoPiece{id, *folder + "/demo/" + id + ".flac", bus};
  };
  return std::vector{piece("melody", kFirstTrackBus), piece("beat", kFirstTrackBus + 1),
                     piece("speech", kBridgeBus)};
}

}  // namespace sonmere
