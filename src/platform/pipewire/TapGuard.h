#pragma once

#include <cstdint>
#include <string>

#include "base/FileDescriptor.h"
#include "base/Log.h"
#include "base/RealtimeScope.h"
#include "platform/pipewire/GuardPage.h"
#include "platform/pipewire/PipeWireOptions.h"

namespace sonmere {

// A small second process that puts apps back on their own output when this one hangs or is stopped, and that
// takes back what a killed one has left in the session's table. Started with the first muted tap; sleeps
// without one, and looks once a second with one. Guarded by the loop's lock, but for `beat`.
class TapGuard {
 public:
  TapGuard(const PipeWireOptions& options, Log& log);
  // Ends the guard, and waits for it.
  ~TapGuard();
  TapGuard(const TapGuard&) = delete;
  TapGuard& operator=(const TapGuard&) = delete;

  // Apps are moved to, or back from, the hidden device of that serial.
  void add(std::uint32_t serial);
  void remove(std::uint32_t serial);
  // The server has gone, and all moves with it.
  void clear();
  // A muted tap's callback has run to its end. Audio thread.
  void beat() noexcept SONMERE_NONBLOCKING {
    if (page_) page_->beats.fetch_add(1, std::memory_order_relaxed);
  }
  bool isRunning() const { return pid_ > 0; }
  int pid() const { return pid_; }

 private:
  bool start();
  void tell();

  const PipeWireOptions options_;
  Log& log_;
  GuardPage* page_ = nullptr;
  FileDescriptor wake_;  // closing it ends the guard
  int pid_ = 0;
  bool wasTried_ = false;
};

}  // namespace sonmere
