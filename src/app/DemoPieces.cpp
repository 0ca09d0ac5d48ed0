#include "app/DemoPieces.h"

#include "app/Resources.h"
#include "audio/device/BusTable.h"

namespace sonmere {

Outcome<std::vector<DemoPiece>> demoPieces() {
  const auto folder = resourceFolder();
  if (!folder) return std::unexpected(folder.error());
  const auto piece = [&](const char* id, const char* file, int bus) {
    return DemoPiece{id, *folder + "/demo/" + file, bus};
  };
  return std::vector{piece("music", "melody.flac", kFirstTrackBus),
                     piece("beat", "beat.flac", kFirstTrackBus + 1),
                     piece("speech", "speech.flac", kBridgeBus)};
}

}  // namespace sonmere
