#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <vector>

#include "platform/pipewire/GraphMirror.h"
#include "platform/pipewire/PipeWireTap.h"
#include "platform/pipewire/ProcessDirectory.h"

struct pw_core;

namespace sonmere {

// Links from programs to the streams of unmuted taps, beside the links that the session has made, and to the
// hidden devices of muted taps whose program another muted tap holds. They go with this program. Guarded by
// the loop's lock.
class TapLinks {
 public:
  TapLinks(const GraphMirror& graph, const ProcessDirectory& processes);
  ~TapLinks();

  void setCore(pw_core* core) { core_ = core; }
  void start(const PipeWireTap& tap, GlobalID listener);
  void stop(AudioObjectID tap);
  void reset();

  void portAdded(const GraphPort& port);
  void portRemoved(const GraphPort& port);
  void nodeChanged(const GraphNode& node);
  // The muted tap in whose device the session has put a stream; unknown: none.
  std::function<AudioObjectID(GlobalID stream)> holder;
  // Before the session is told: two links between the same ports can't be.
  void holderChanged(const GraphNode& stream);
  // Whether a link here leads, or is about to lead, from the stream to a device.
  bool isBeside(GlobalID stream, GlobalID device) const;
  // The server has refused a link, or undone it: `look` is to be called soon. Loop's thread.
  std::function<void()> refused;
  // Makes links anew that the server did not make. True: there may be more to look after.
  bool look();

  // Whether unmuted taps listen to a program's stream, and whether all of them hear it already.
  enum class Hearing { nobody, notYet, heard };
  Hearing hearing(const GraphNode& stream) const;

 private:
  struct Link;
  struct Active {
    PipeWireTap tap;
    GlobalID listener = 0;
  };
  using Key = std::tuple<AudioObjectID, GlobalID, GlobalID>;  // tap, output port, input port
  void connect(const Active& active, const GraphNode& stream);
  void connectAll(const Active& active);
  bool isHeldByAnother(const Active& active, GlobalID stream) const;
  std::set<Key> wantedLinks(const Active& active, const GraphNode& stream) const;
  void makeLink(const Key& key, GlobalID stream);
  bool hears(const Active& active, GlobalID stream) const;

  const GraphMirror& graph_;
  const ProcessDirectory& processes_;
  pw_core* core_ = nullptr;
  std::vector<Active> active_;
  std::map<Key, std::unique_ptr<Link>> links_;
  std::map<Key, int> refusals_;  // in a row
};

}  // namespace sonmere
