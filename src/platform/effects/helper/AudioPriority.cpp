#include "platform/effects/helper/AudioPriority.h"

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdint>

namespace sonmere {

namespace {

// Below that of the audio server's own threads.
constexpr int kPriority = 15;
// One that runs for longer without a pause holds its processor for itself: it is ended by the kernel. The
// service asks for such a limit.
// Told by a signal, and a little later without one.
constexpr rlim_t kLongestRun = 150'000, kEnd = 200'000;  // us

bool askKernel() {
  sched_param wanted{};
  wanted.sched_priority = kPriority;
  return pthread_setschedparam(pthread_self(), SCHED_FIFO | SCHED_RESET_ON_FORK, &wanted) == 0;
}

void askService() {
  sd_bus* bus = nullptr;
  if (sd_bus_open_system(&bus) < 0) return;
  constexpr const char* kName = "org.freedesktop.RealtimeKit1";
  sd_bus_call_method(bus, kName, "/org/freedesktop/RealtimeKit1", kName, "MakeThreadRealtime", nullptr,
                     nullptr, "tu", std::uint64_t(syscall(SYS_gettid)), std::uint32_t(kPriority));
  sd_bus_unref(bus);
}

}  // namespace

void raiseAudioPriority() {
  const rlimit limit{kLongestRun, kEnd};
  if (setrlimit(RLIMIT_RTTIME, &limit) != 0) return;
  if (!askKernel()) askService();
}

}  // namespace sonmere
