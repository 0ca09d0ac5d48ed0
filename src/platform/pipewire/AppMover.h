#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "audio/device/CaptureExpectation.h"
#include "base/Log.h"
#include "platform/pipewire/ArrivalWatch.h"
#include "platform/pipewire/GraphMirror.h"
#include "platform/pipewire/PipeWireTap.h"
#include "platform/pipewire/ProcessDirectory.h"
#include "platform/pipewire/TapLinks.h"
#include "platform/pipewire/WaitingRoom.h"

namespace sonmere {

// Moves programs into the hidden devices of muted taps, and back. A move is a wish in the session's table
// ("target.object" of the stream), never an edit of links: when this program dies, its device goes and the
// session puts the streams back on their own output. New streams of programs that are to be captured stand
// in the waiting room until their tap is there. Guarded by the loop's lock.
class AppMover {
 public:
  AppMover(GraphMirror& graph, const ProcessDirectory& processes, TapLinks& links, WaitingRoom& room,
           ArrivalWatch& arrivals, Log& log);

  // Told when the room is needed or needed no longer.
  std::function<void()> needChanged;
  bool needsRoom() const { return !active_.empty() || !expectations_.empty(); }
  // The room has been announced, or is about to go.
  void roomCame() { placeAll(); }
  void leaveRoom();
  // Streams that wait are placed anew; they don't wait for ever.
  void look();

  // Streams that the tap covers play into that node from now on, those to come as well, before they reach any
  // other device. `cycles` counts the cycles that the tap's callback has completed.
  void start(const PipeWireTap& tap, GlobalID sink, std::function<std::uint64_t()> cycles);
  // They go back to where they were.
  void stop(AudioObjectID tap);
  void expect(std::string_view owner, CaptureExpectation expectation);
  // The server has gone; what is expected stays.
  void reset();

  void nodeChanged(const GraphNode& node) { place(node); }
  void nodeRemoved(const GraphNode& node);
  void linkAdded(const GraphLink& link);
  void linkRemoved(const GraphLink& link) { arrivals_.changed(link.outputNode); }
  // The key of the session's table under which the session manager's script tells of a device of this program
  // that streams can be sent there; its value is the device's serial.
  static constexpr const char* kReachableKey = "sonmere.reachable";
  // Set for the whole session where the script runs.
  static constexpr const char* kScriptKey = "sonmere.script";
  void reachChanged() { placeAll(); }
  void targetChanged(GlobalID stream, const std::optional<std::string>& value);
  // The session's table is there again, empty.
  void tableCameBack();
  // Takes back streams that were let go while a tap stood still, once it runs again. True while there are
  // any.
  bool reclaim();

  // The tap in whose device a stream is, or is about to be; unknown: none.
  AudioObjectID holder(GlobalID stream) const;

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
    AudioObjectID tap = kAudioObjectUnknown;  // unknown: it waits
    std::string serial;
    // Set while another process has let the stream go: the tap's cycles at that time.
    std::optional<std::uint64_t> letGoAt;
    int looks = 0;  // while it waits

    bool waits() const { return tap == kAudioObjectUnknown; }
  };
  // Where a stream should be at present.
  struct Place {
    enum Kind { home, room, tap, unknown } kind = home;
    const Active* active = nullptr;
  };
  Place placeOf(const GraphNode& node);
  Place placeOfNew(const GraphNode& node);
  bool isExpected(const std::string& bundleID) const;
  bool isWithinReach(const Active& active) const;
  bool isWaiting(GlobalID stream) const;
  const Active* wanted(const GraphNode& node) const;
  void place(const GraphNode& node);
  void placeAll();
  void claim(GlobalID stream, AudioObjectID tap, std::string serial);
  void tellHolder(GlobalID stream);
  void release(GlobalID stream);
  void settle(GlobalID stream);
  void send(GlobalID stream, const std::string& serial);
  void write(GlobalID stream, const std::optional<std::string>& target);
  const Active* find(AudioObjectID tap) const;
  const PipeWireProcess* judgedAs(const GraphNode& node) const;
  bool isCovered(const PipeWireProcess& process) const;
  void sentToRoom(GlobalID stream);
  void updateOccupancy();

  GraphMirror& graph_;
  const ProcessDirectory& processes_;
  TapLinks& links_;
  WaitingRoom& room_;
  ArrivalWatch& arrivals_;
  Log& log_;
  std::vector<Active> active_;  // the last that covers a stream has it
  std::map<std::string, CaptureExpectation, std::less<>> expectations_;
  std::map<GlobalID, Claim> claims_;
  // Streams that wait no more, whatever is expected: what they play has been heard.
  std::set<GlobalID> settled_;
  // Streams that were put back, and where: what the table says of it later is no wish of the user's.
  std::map<GlobalID, std::string> putBack_;
  // Streams that the user or another program has put elsewhere; they are left alone.
  std::set<GlobalID> takenAway_;
};

}  // namespace sonmere
