#pragma once

#include <memory>

#include "base/FileDescriptorWatcher.h"
#include "base/Log.h"
#include "base/Runtime.h"

struct sd_bus;

namespace sonmere {

// A connection to the message bus of the user's session, or of the system, driven by the main queue. It
// sleeps while nothing comes. Main thread; all that it is given outlives it.
class SessionBus {
 public:
  // The error says that there is no bus here, which is no fault: a machine without a desktop has none.
  enum class Which { session, system };
  static Outcome<std::unique_ptr<SessionBus>> open(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher,
                                                   Which which = Which::session);
  ~SessionBus();

  // Null once the bus has gone, for good.
  sd_bus* get() const { return bus_.get(); }
  // Something was queued on the bus: it goes out as soon as the bus takes it.
  void sent();

 private:
  struct Close {
    void operator()(sd_bus* bus) const;
  };
  SessionBus(Runtime& runtime, Log& log, FileDescriptorWatcher& watcher, sd_bus* bus);
  void pump();
  void arm();
  void lose(int status);

  Runtime& runtime_;
  Log& log_;
  FileDescriptorWatcher& watcher_;
  std::unique_ptr<sd_bus, Close> bus_;
  int descriptor_ = -1;
  ScopedTask pump_, late_;
};

}  // namespace sonmere
