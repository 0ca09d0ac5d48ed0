#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

#include "base/Log.h"
#include "base/Time.h"
#include "platform/pipewire/CycleStream.h"
#include "platform/pipewire/PipeWireLoop.h"
#include "platform/pipewire/ServerConnection.h"

struct spa_source;

namespace sonmere {

// Notices a server that has stopped without dying: streams make no more cycles and a question stays without
// an answer. Looks only while `isNeeded` says that an app is heard through this program; otherwise it costs
// no wake-up. Meanwhile it tells which streams the server has left out. Guarded by the loop's lock.
class ServerWatch {
 public:
  ServerWatch(PipeWireLoop& loop, ServerConnection& connection, Log& log, std::function<Duration()> uptime);
  ~ServerWatch();

  // Whether an app is heard at present. Loop's thread.
  std::function<bool()> isNeeded;
  // At each look, while it goes on. True: there is more to look after.
  std::function<bool()> tick;

  void add(const CycleStream& stream) { streams_[&stream] = {}; }
  void remove(const CycleStream& stream) { streams_.erase(&stream); }
  // Begins to look if it is needed now.
  void update();
  // The connection has gone.
  void reset();
  bool isFrozen() const { return frozenSince_.has_value(); }

 private:
  void look();
  void schedule(bool isOn);
  std::uint64_t cycles() const;
  void reportMissed();
  void reportFrozen();
  void reportThawed();

  PipeWireLoop& loop_;
  ServerConnection& connection_;
  Log& log_;
  const std::function<Duration()> uptime_;
  spa_source* timer_ = nullptr;
  bool isScheduled_ = false;
  std::map<const CycleStream*, MissedCycles> streams_;  // with what has been told of them
  std::optional<Duration> lastReport_;
  std::uint64_t lastCycles_ = 0;
  Duration lastProgress_{};
  bool isAsking_ = false;
  std::optional<Duration> frozenSince_;
};

}  // namespace sonmere
