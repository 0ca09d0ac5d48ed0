#pragma once

#include <functional>
#include <map>
#include <string>

#include "base/Log.h"
#include "platform/pipewire/GraphMirror.h"
#include "platform/pipewire/PipeWireLoop.h"

struct spa_source;

namespace sonmere {

// Looks after streams that were sent to a device until they are linked to it. The session manager may skip a
// stream while something else is under way, link it to a device that has gone, or try a device that is not
// ready yet some times within a millisecond and then never again. Such a stream is asked for anew: at first
// by a change of the table that moves nothing, then by a way round over another device. Costs no wake-up
// while all have arrived. Guarded by the loop's lock.
class ArrivalWatch {
 public:
  ArrivalWatch(PipeWireLoop& loop, GraphMirror& graph, Log& log);
  ~ArrivalWatch();

  // Serial of a device where streams may wait in between, unheard; empty: there is none.
  std::function<std::string()> detour;
  // Whether a link from a stream to a device was made by this program, beside what the session links.
  std::function<bool(GlobalID stream, GlobalID device)> isBeside;
  // While anything is looked after, and once after `update`. True: there is more to look after. Loop's
  // thread.
  std::function<bool()> look;
  void update() { schedule(true); }

  // The stream was sent to the device of that serial, or elsewhere.
  void sent(GlobalID stream, const std::string& serial);
  void forget(GlobalID stream) { streams_.erase(stream); }
  void reset() { streams_.clear(); }
  // Its links have changed.
  void changed(GlobalID stream);
  // Whether the stream's target is one that was set on a way round, and not by somebody else.
  bool isOnDetour(GlobalID stream) const;
  // The table has the stream's target again.
  void returned(GlobalID stream);

 private:
  struct Sent {
    std::string serial;
    int looks = 0;
    int detours = 0;
    bool isOnDetour = false;
  };
  static void tick(void* data, std::uint64_t);
  bool lookAfter(GlobalID stream, Sent& sent);
  bool hasArrived(GlobalID stream, const Sent& sent) const;
  void nudge(GlobalID stream);
  void goRound(GlobalID stream, Sent& sent);
  void schedule(bool isOn);

  PipeWireLoop& loop_;
  GraphMirror& graph_;
  Log& log_;
  spa_source* timer_ = nullptr;
  bool isScheduled_ = false;
  std::map<GlobalID, Sent> streams_;
};

}  // namespace sonmere
