#include "platform/pipewire/PipeWireLoop.h"

#include <pipewire/pipewire.h>

#include <ctime>
#include <stdexcept>

#include "base/RealtimeTimeLimit.h"

namespace sonmere {

namespace {

// Initialising twice is cheap and counted by the library.
struct Library {
  Library() { pw_init(nullptr, nullptr); }
};

int runTask(spa_loop*, bool, std::uint32_t, const void*, std::size_t, void* data) {
  const std::unique_ptr<std::function<void()>> task(static_cast<std::function<void()>*>(data));
  (*task)();
  return 0;
}

}  // namespace

PipeWireLoop::PipeWireLoop() {
  static const Library library;
  thread_ = pw_thread_loop_new("sonmere-server", nullptr);
  if (!thread_) throw std::runtime_error("The audio server's event loop could not be made");
  // The first asks for a real-time audio thread; without the right to have one it goes on without.
  const char* const configuration = RealtimeTimeLimit::allowsRealtime() ? "client-rt.conf" : "client.conf";
  pw_properties* properties = pw_properties_new(PW_KEY_CONFIG_NAME, configuration, nullptr);
  context_ = pw_context_new(pw_thread_loop_get_loop(thread_), properties, 0);
  RealtimeTimeLimit::lowerSoft();
  if (!context_ || pw_thread_loop_start(thread_) < 0) {
    if (context_) pw_context_destroy(context_);
    pw_thread_loop_destroy(thread_);
    throw std::runtime_error("The audio server's event loop could not be started");
  }
}

PipeWireLoop::~PipeWireLoop() {
  pw_thread_loop_stop(thread_);
  pw_context_destroy(context_);
  pw_thread_loop_destroy(thread_);
}

PipeWireLoop::Lock::Lock(PipeWireLoop& loop) : thread_(loop.thread_) { pw_thread_loop_lock(thread_); }

PipeWireLoop::Lock::~Lock() { pw_thread_loop_unlock(thread_); }

bool PipeWireLoop::waitUntil(const std::function<bool()>& condition, Duration timeout) {
  timespec deadline{};
  pw_thread_loop_get_time(thread_, &deadline, timeout.count());
  while (!condition())
    if (pw_thread_loop_timed_wait_full(thread_, &deadline) != 0) return condition();
  return true;
}

void PipeWireLoop::wake() { pw_thread_loop_signal(thread_, false); }

void PipeWireLoop::post(std::function<void()> task) {
  pw_loop_invoke(events(), runTask, 0, nullptr, 0, false, new std::function<void()>(std::move(task)));
}

pw_loop* PipeWireLoop::events() const { return pw_thread_loop_get_loop(thread_); }

}  // namespace sonmere
