#pragma once

#include <functional>
#include <list>
#include <memory>

#include "platform/pipewire/CycleStream.h"
#include "platform/pipewire/GraphMirror.h"

struct spa_source;

namespace sonmere {

// Streams on their way out. A stream is taken down by the server first, and freed here once it says so: the
// library loses descriptors that arrive for a stream which is gone already. The hidden device of a muted tap
// stays for a moment before that: a tap that is made anew takes it over with the apps in it, and what they
// play is not heard elsewhere in between. Guarded by the loop's lock.
class DepartingStreams {
 public:
  DepartingStreams(PipeWireLoop& loop, GraphMirror& graph);
  ~DepartingStreams();

  // The stream's callback does not run any more once this has returned.
  void bury(std::unique_ptr<CycleStream> stream);
  // The same for a muted tap, a moment later; `release` lets its apps go just before.
  void linger(std::unique_ptr<CycleStream> stream, std::function<void()> release);
  // Another tap like that one takes the stream over. `release` of the old one is to run once the caller has
  // made the stream its own. No stream: there is none like it.
  struct Taken {
    std::unique_ptr<CycleStream> stream;
    std::function<void()> release;
  };
  Taken take(const CycleStreamPlan& plan);
  // All apps at once, for the program ends.
  void releaseAll();
  // The connection goes, and all streams with it.
  void forget() { streams_.clear(); }

 private:
  struct Departing {
    std::unique_ptr<CycleStream> stream;
    std::function<void()> release;  // empty once it has run
    int age = 0;                    // in ticks
  };
  void add(std::unique_ptr<CycleStream> stream, std::function<void()> release);
  void leave(Departing& departing);
  bool tick(Departing& departing);
  void schedule(bool isOn);

  PipeWireLoop& loop_;
  GraphMirror& graph_;
  spa_source* timer_ = nullptr;
  std::list<Departing> streams_;  // stays in place: letting apps go may end further streams
};

}  // namespace sonmere
