#include "ui/model/BusesModel.h"

#include "audio/device/BusTable.h"
#include "ui/model/Decode.h"

namespace sonmere {

BusesModel::BusesModel() {
  for (int bus = 0; bus < kBusCount; ++bus) {
    if (!isRoutableBus(bus)) continue;
    const bool isBridge = bus == kBridgeBus;
    routable_.push_back({isBridge ? tr("To other programs") : tr("Tracks"),
                         isBridge ? tr("Bridge") : tr("Track %1").arg(bus - kFirstTrackBus + 1),
                         QString::number(bus)});
  }
}

}  // namespace sonmere
