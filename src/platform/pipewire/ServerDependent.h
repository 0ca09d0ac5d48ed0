#pragma once

namespace sonmere {

// Holds objects of the server that die with it.
class ServerDependent {
 public:
  virtual ~ServerDependent() = default;
  // The connection is about to go: let go of everything made over it. Loop's thread, lock held.
  virtual void serverLost() = 0;
};

}  // namespace sonmere
