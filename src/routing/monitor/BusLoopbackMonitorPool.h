#pragma once

#include <array>
#include <functional>
#include <memory>

#include "audio/device/BusTable.h"
#include "audio/engine/Route.h"
#include "routing/monitor/BusLoopbackMonitor.h"

namespace sonmere {

// One loopback a Track, for those that the user wants to hear and that other programs feed: what the routing
// engine renders there is heard by the engine's own rings. Main thread.
class BusLoopbackMonitorPool final : public Route {
 public:
  explicit BusLoopbackMonitorPool(EngineContext& context);
  ~BusLoopbackMonitorPool() override;

  // Both before `start`; Tracks count from 1.
  std::function<bool(int track)> isBusBusyRenderingBySonmere;
  // How loud, linear; nothing where it is not wanted.
  std::function<std::optional<float>(int track)> wanted;

  // Once.
  void start();
  // One of both answers may be another.
  void update();

  void serverLost() override;
  void revalidate(RevalidationReason reason) override;
  RouteHealthEntry health() const override;

 private:
  static constexpr int kTracks = kBusCount - kFirstTrackBus;
  bool isWanted(int track) const { return wanted(track) && !isBusBusyRenderingBySonmere(track); }

  EngineContext& context_;
  std::array<std::unique_ptr<BusLoopbackMonitor>, kTracks> monitors_;
  bool isRunning_ = false;
  RouteKeeper::Registration registration_;
};

}  // namespace sonmere
