#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/pipewire/CycleStream.h"
#include "platform/pipewire/DepartingStreams.h"
#include "platform/pipewire/GraphMirror.h"

struct pw_core;
struct spa_source;

namespace sonmere {

// A device in which new streams stand still until it is settled where they belong: it drives what is linked
// to it, and never does. Nothing that is played to it is heard, and nothing is lost. Unlike other hidden
// devices it shows as an ordinary one, for the PulseAudio service creates no stream on any other; and by it
// the session manager's script knows that this program wants to be asked. Guarded by the loop's lock.
class WaitingRoom {
 public:
  WaitingRoom(PipeWireLoop& loop, const GraphMirror& graph, DepartingStreams& departing);
  ~WaitingRoom();

  // While the room is occupied, every 20 ms. Loop's thread.
  std::function<void()> look;
  // Streams have begun to wait, or none does any more.
  std::function<void(std::uint32_t serial, bool isOccupied)> occupancyChanged;

  // The room is there some time after it was opened, once the server has announced it.
  void open(pw_core* core, const std::string& name);
  // In a second, unless it is opened again: streams are still on their way out, and the session manager
  // leaves those hanging whose device goes while it links them.
  void closeSoon();
  void close();
  // The connection goes.
  void forget();

  // Whether any stream is linked to it.
  bool isLinked() const;
  // Its node; null before it has been announced.
  const GraphNode* node() const;
  // The serial of its node, by which streams are sent there; empty before it has been announced.
  std::string serial() const;
  void setOccupied(bool isOccupied);

  // How often a stream is looked at before it has waited long enough.
  static constexpr int kLongestWait = 100;

 private:
  void tick();
  void updateTimer();

  PipeWireLoop& loop_;
  const GraphMirror& graph_;
  DepartingStreams& departing_;
  spa_source* timer_ = nullptr;
  std::unique_ptr<CycleStream> stream_;
  std::uint32_t occupiedSerial_ = 0;
  std::optional<int> looksToClose_;
};

}  // namespace sonmere
