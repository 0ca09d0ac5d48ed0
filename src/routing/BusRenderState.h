#pragma once

#include <array>
#include <memory>
#include <vector>

#include "audio/device/BusTable.h"
#include "base/Published.h"
#include "dsp/MicSend.h"
#include "dsp/RenderFlags.h"
#include "routing/BusMaster.h"
#include "routing/SingleAppTap.h"

namespace sonmere {

// The taps of every bus, replaced as a whole.
struct BusTapLists {
  std::array<std::vector<std::shared_ptr<SingleAppTap>>, kBusCount> buses;
};

// All that the bus renders share with the tap engine. Outlives the engine for as long as a unit may call.
struct BusRenderState {
  BusRenderState(const RenderFlags& renderFlags, MicSend& send) : flags(renderFlags), micSend(send) {}

  RTScalar<bool> engineAlive{true};
  Published<const BusTapLists> activeTapsByBus;
  std::array<BusMaster, kBusCount> masters;
  RTScalar<bool> masterRecordActive{false};
  const RenderFlags& flags;
  MicSend& micSend;
};

}  // namespace sonmere
