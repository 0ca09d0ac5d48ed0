#pragma once

#include <cstdint>
#include <string>

#include "base/FileDescriptor.h"
#include "base/Log.h"
#include "base/RealtimeScope.h"
#include "platform/pipewire/GuardPage.h"
#include "platform/pipewire/PipeWireLoop.h"
#include "platform/pipewire/PipeWireOptions.h"

struct spa_source;

namespace sonmere {

// A small second process that puts apps back on their own output when this one hangs or is stopped, and that
// takes back what a killed one has left in the session's table. Started with the first muted tap, and again
// when it dies; sleeps without one, and looks once a second with one. A twin of it takes over when it is
// killed while this program can't start another. Guarded by the loop's lock, but for `beat`.
class TapGuard {
 public:
  TapGuard(PipeWireLoop& loop, const PipeWireOptions& options, Log& log);
  // Ends the guard. One that has to wait for a server to let apps go does so by itself.
  ~TapGuard();
  TapGuard(const TapGuard&) = delete;
  TapGuard& operator=(const TapGuard&) = delete;

  // Apps are moved to, or back from, the hidden device of that serial.
  void add(std::uint32_t serial);
  void remove(std::uint32_t serial);
  // The server has gone, and all moves with it.
  void clear();
  // A muted tap's callback has run to its end. Render thread.
  void beat() noexcept SONMERE_NONBLOCKING {
    if (page_) page_->beats.fetch_add(1, std::memory_order_relaxed);
  }

 private:
  bool mapPage();
  bool start();
  bool spawn();
  void ended();
  void tell();

  PipeWireLoop& loop_;
  const PipeWireOptions options_;
  Log& log_;
  FileDescriptor memory_;
  GuardPage* page_ = nullptr;
  FileDescriptor wake_;  // closing it ends the guard; it ends when guard and twin have
  spa_source* end_ = nullptr;
  int pid_ = 0;
  bool hasFailed_ = false;
};

}  // namespace sonmere
