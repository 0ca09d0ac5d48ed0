#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "base/Log.h"
#include "platform/pipewire/GraphMirror.h"
#include "platform/pipewire/PipeWireTap.h"
#include "platform/pipewire/ProcessDirectory.h"

namespace sonmere {

// Moves programs into the hidden devices of muted taps, and back. A move is a wish in the session's table
// ("target.object" of the stream), never an edit of links: when this program dies, its device goes and the
// session puts the streams back on their own output. Guarded by the loop's lock.
class AppMover {
 public:
  AppMover(GraphMirror& graph, const ProcessDirectory& processes, Log& log);

  // Streams that the tap covers play into that node from now on, those to come as well, before they reach any
  // other device. `cycles` counts the cycles that the tap's callback has completed.
  void start(const PipeWireTap& tap, GlobalID sink, std::function<std::uint64_t()> cycles);
  // They go back to where they were.
  void stop(AudioObjectID tap);
  // The server has gone.
  void reset();

  void nodeChanged(const GraphNode& node) { place(node); }
  void nodeRemoved(const GraphNode& node);
  void linkAdded(const GraphLink& link);
  void targetChanged(GlobalID stream, const std::optional<std::string>& value);
  // The session's table is there again, empty.
  void tableCameBack();
  // Takes back streams that were let go while a tap stood still, once it runs again. True while there are
  // any.
  bool reclaim();

  // Whether the program lets itself be moved. One that asked to stay keeps its output.
  static bool isMovable(const GraphNode& stream);

 private:
  struct Active {
    PipeWireTap tap;
    GlobalID sink = 0;
    std::string serial;
    std::function<std::uint64_t()> cycles;
  };
  struct Claim {
    AudioObjectID tap = kAudioObjectUnknown;
    std::string serial;
    // Set while another process has let the stream go: the tap's cycles at that time.
    std::optional<std::uint64_t> letGoAt;
  };
  const Active* wanted(const GraphNode& node) const;
  void place(const GraphNode& node);
  void placeAll();
  void write(GlobalID stream, const std::optional<std::string>& target);
  const Active* find(AudioObjectID tap) const;
  const PipeWireProcess* judgedAs(const GraphNode& node) const;
  bool isCovered(const PipeWireProcess& process) const;

  GraphMirror& graph_;
  const ProcessDirectory& processes_;
  Log& log_;
  std::vector<Active> active_;  // the last that covers a stream has it
  std::map<GlobalID, Claim> claims_;
  // Streams that the user or another program has put elsewhere; they are left alone.
  std::set<GlobalID> takenAway_;
};

}  // namespace sonmere
