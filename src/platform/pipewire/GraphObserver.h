#pragma once

#include "platform/pipewire/GraphObjects.h"

namespace sonmere {

// Told of every change of the server's objects. Loop's thread.
class GraphObserver {
 public:
  virtual ~GraphObserver() = default;
  // New, or its properties or state changed.
  virtual void nodeChanged(const GraphNode& node) = 0;
  virtual void nodeRemoved(const GraphNode& node) = 0;
  // The way of a card's sound is another one.
  virtual void routesChanged(const GraphCard& card) = 0;
  virtual void clientChanged(const GraphClient& client) = 0;
  virtual void clientRemoved(const GraphClient& client) = 0;
  virtual void portAdded(const GraphPort& port) = 0;
  virtual void portRemoved(const GraphPort& port) = 0;
  virtual void linkAdded(const GraphLink& link) = 0;
  virtual void linkRemoved(const GraphLink& link) = 0;
};

}  // namespace sonmere
