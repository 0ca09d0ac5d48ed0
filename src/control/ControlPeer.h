#pragma once

namespace sonmere {

// The client that a method was called by, for methods that concern it alone. Main thread.
class ControlPeer {
 public:
  virtual ~ControlPeer() = default;

  // Levels from now on, or no longer.
  virtual void setWatching(bool on) = 0;
};

}  // namespace sonmere
