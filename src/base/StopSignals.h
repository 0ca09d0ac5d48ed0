#pragma once

#include <functional>
#include <memory>

#include "base/Error.h"
#include "base/FileDescriptorWatcher.h"

namespace sonmere {

// The end that a user or a system asks for: SIGINT, SIGTERM and SIGHUP. From its making on none of them ends
// the process; the first is kept, to be asked for or to be told. A Ctrl-C that comes kPatience after it ends
// the process at once. What else comes changes nothing: a terminal that closes sends SIGHUP more than once,
// and so do programs that pass signals on. A signal that was ignored when the program started (nohup, the
// background of a shell) stays ignored. One object at a time; main thread, `received` any.
class StopSignals {
 public:
  static constexpr Duration kPatience = fromMilliseconds(200);

  // `endsAtOnce` is called in the signal handler, before the process ends at once; it must be signal-safe.
  explicit StopSignals(void (*endsAtOnce)() = nullptr);
  // The signals do again what they did before.
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // The first signal; 0 while none came.
  int received() const noexcept;
  // Tells the first signal, one that came already too, on the watcher's queue, without anything that wakes up
  // to look. Once; the watcher outlives this object.
  Outcome<void> tell(FileDescriptorWatcher& watcher, std::function<void(int signal)> stop);

 private:
  struct State;
  const std::unique_ptr<State> state_;
};

// Ends the process as the signal does by default, so that whoever waits for it (a shell with a loop) knows.
// Signal-safe.
[[noreturn]] void endBySignal(int signal) noexcept;

}  // namespace sonmere
