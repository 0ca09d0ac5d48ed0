#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "audio/device/CoreAudioUtils.h"
#include "audio/device/EngineContext.h"
#include "audio/device/TeardownQueue.h"
#include "base/RenderRetirement.h"
#include "routing/BusRenderState.h"
#include "routing/RoutingFailures.h"
#include "routing/SingleAppTap.h"

namespace sonmere {

// The rate where none can be read, and how near two rates count as one, in Hz.
constexpr double kFallbackRate = 48000.0;
constexpr double kSameRateHz = 1.0;
// How long an unlisted tap, list or ring stays for a render that may hold it.
constexpr Duration kSnapshotGrace = std::chrono::seconds(2);

// What the collaborators of the tap engine share. Main thread.
struct RoutingCore {
  explicit RoutingCore(EngineContext& engineContext)
      : context(engineContext),
        render(std::make_shared<BusRenderState>(engineContext.flags, engineContext.micSend)),
        retirement(engineContext.runtime),
        teardown(engineContext.runtime, engineContext.log) {}

  AudioHardware& hardware() const { return context.platform.hardware(); }
  Runtime& runtime() const { return context.runtime; }
  Log& log() const { return context.log; }
  // A failure of an app or a bus that the user is told of, and the log.
  void fail(const std::string& about, const std::string& message) {
    log().error("Sonmere: " + message);
    failures.tell(about, message);
  }
  // Nominal rate of bus 0, the rate master of the system, in Hz; nothing without the driver.
  std::optional<double> bridgeRate() const {
    const auto bridge = CoreAudioUtils::deviceForBus(hardware(), kBridgeBus);
    return bridge ? CoreAudioUtils::nominalRate(hardware(), *bridge) : std::nullopt;
  }

  // Null for an app that is not routed now.
  std::shared_ptr<SingleAppTap> tapOf(const std::string& bundleID) const {
    const auto found = activeTaps.find(bundleID);
    return found == activeTaps.end() ? nullptr : found->second;
  }

  EngineContext& context;
  RoutingFailures failures;
  std::shared_ptr<BusRenderState> render;
  RenderRetirement retirement;
  TeardownQueue teardown;
  // By family: one process may belong to two, that of its music and that of its event sounds.
  std::map<std::string, std::shared_ptr<SingleAppTap>> activeTaps;
};

}  // namespace sonmere
