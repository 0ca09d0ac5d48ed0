#include "base/SharedWord.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>

#include "base/RealtimePass.h"

#if defined(__has_feature)
#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#define SONMERE_RTSAN 1
#endif
#endif

namespace sonmere {

void wakeSleeper(std::atomic<std::uint32_t>& word) noexcept SONMERE_NONBLOCKING {
  const RealtimePass pass(RealtimePass::Kind::wake);
#ifdef SONMERE_RTSAN
  const __rtsan::ScopedDisabler disabler;
#endif
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

void sleepOn(std::atomic<std::uint32_t>& word, std::uint32_t seen, Duration limit) {
  timespec time{};
  time.tv_sec = time_t(limit.count() / 1'000'000'000);
  time.tv_nsec = long(limit.count() % 1'000'000'000);
  syscall(SYS_futex, reinterpret_cast<std::uint32_t*>(&word), FUTEX_WAIT, seen, &time, nullptr, 0);
}

}  // namespace sonmere
