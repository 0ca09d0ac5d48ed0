#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "audio/device/CoreAudioUtils.h"
#include "audio/engine/EngineContext.h"
#include "audio/engine/Rates.h"
#include "routing/BusRenderState.h"
#include "routing/RoutingFailures.h"
#include "routing/SingleAppTap.h"

namespace sonmere {

// What the collaborators of the tap engine share. Main thread.
struct RoutingCore {
  explicit RoutingCore(EngineContext& engineContext)
      : context(engineContext),
        render(std::make_shared<BusRenderState>(engineContext.flags, engineContext.micSend)),
        retirement(engineContext.rendering.retirement) {}

  AudioHardware& hardware() const { return context.hardware(); }
  Runtime& runtime() const { return context.runtime; }
  Log& log() const { return context.log; }
  // A failure of an app or a bus that the user is told of, and the log.
  void fail(const std::string& about, const std::string& message) {
    log().error("Sonmere: " + message);
    failures.tell(about, message);
  }
  // Nominal rate of bus 0, the rate master of the system, in Hz; nothing without the driver.
  std::optional<double> bridgeRate() const {
    const auto device = bridge();
    return device ? CoreAudioUtils::nominalRate(hardware(), *device) : std::nullopt;
  }
  // Bus 0, as far as the server has told.
  std::optional<AudioDeviceID> bridge() const {
    if (const DeviceFacts* known = context.devices.withUID(kBusUIDs[kBridgeBus])) return known->id;
    return CoreAudioUtils::deviceForBus(hardware(), kBridgeBus);
  }

  // Null for an app that is not routed now.
  std::shared_ptr<SingleAppTap> tapOf(const std::string& bundleID) const {
    const auto found = activeTaps.find(bundleID);
    return found == activeTaps.end() ? nullptr : found->second;
  }

  EngineContext& context;
  RoutingFailures failures;
  std::shared_ptr<BusRenderState> render;
  RenderRetirement& retirement;
  // By family: one process may belong to two, that of its music and that of its event sounds.
  std::map<std::string, std::shared_ptr<SingleAppTap>> activeTaps;
};

}  // namespace sonmere
