#include "support/RealtimeGuard.h"

#include <execinfo.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "base/RealtimePass.h"
#include "base/RealtimeScope.h"
#include "support/RealtimeWatch.h"

#if !defined(SONMERE_SANITIZED) && defined(__x86_64__) && defined(PR_SET_SYSCALL_USER_DISPATCH)
#define SONMERE_WATCHES_SYSTEM_CALLS 1
#endif

namespace sonmere {

namespace realtime_watch {
namespace {

struct FirstOffender {
  std::atomic<bool> claimed{false};
  std::atomic<bool> complete{false};
  const char* name = "";
  std::array<void*, 24> frames{};
  int frameCount = 0;
};

std::atomic<bool> active{false};
std::atomic<long> scopes{0};
std::array<std::atomic<long>, 4> counts{};
FirstOffender firstOffender;

constexpr bool kCountsViolations =
#ifdef SONMERE_SANITIZED
    false;
#else
    true;
#endif

#ifdef SONMERE_WATCHES_SYSTEM_CALLS
// The kernel reads this byte of the thread at each system call: allow, or deliver SIGSYS.
constinit thread_local volatile char selector = SYSCALL_DISPATCH_FILTER_ALLOW;
constinit thread_local bool armed = false;

constexpr int kSyscallInstructionBytes = 2;
// si_code of a dispatched system call; glibc 2.36 has no name for it.
constexpr int kSystemCallDispatched = 2;

void onSystemCall(int, siginfo_t* info, void* context) {
  if (info->si_code != kSystemCallDispatched) {
    // Somebody else's: a seccomp filter. Die of it, as without this handler.
    signal(SIGSYS, SIG_DFL);
    raise(SIGSYS);
    return;
  }
  // Open until the next scope: the return from this handler is itself a system call.
  selector = SYSCALL_DISPATCH_FILTER_ALLOW;
  // Machines whose clock has no user-space form read it by a system call; that is not the callback's fault.
  if (info->si_syscall != SYS_clock_gettime) note(Kind::systemCall, "system call");
  static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP] -= kSyscallInstructionBytes;
}

bool armThisThread() noexcept {
  return prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_ON, 0, 0, &selector) == 0;
}

void disarmThisThread() noexcept { prctl(PR_SET_SYSCALL_USER_DISPATCH, PR_SYS_DISPATCH_OFF, 0, 0, 0); }

bool installSystemCallHandler() {
  if (!armThisThread()) {
    std::fprintf(stderr, "real-time guard: this kernel cannot dispatch system calls; they are not counted\n");
    return false;
  }
  disarmThisThread();
  struct sigaction action {};
  action.sa_sigaction = onSystemCall;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  return sigaction(SIGSYS, &action, nullptr) == 0;
}
#endif

bool systemCallsWatched() {
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
  static const bool installed = installSystemCallHandler();
  return installed;
#else
  return false;
#endif
}

void enter() noexcept {
  if (!active.load(std::memory_order_acquire)) return;
  scopes.fetch_add(1, std::memory_order_relaxed);
  watched = kCountsViolations;
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
  if (!systemCallsWatched()) return;
  if (!armed) armed = armThisThread();
  selector = SYSCALL_DISPATCH_FILTER_BLOCK;
#endif
}

// Also ends a scope whose guard went away meanwhile.
void leave() noexcept {
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
  selector = SYSCALL_DISPATCH_FILTER_ALLOW;
#endif
  watched = false;
}

constexpr RealtimeScope::Hooks kHooks{enter, leave};

// What stood before a pass was opened: a scope that no guard watches stays so.
constinit thread_local bool watchedBefore = false;
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
constinit thread_local char selectorBefore = SYSCALL_DISPATCH_FILTER_ALLOW;
#endif

// A wake may make its system call, and nothing else.
void openPass(RealtimePass::Kind kind) noexcept {
  watchedBefore = watched;
  if (kind == RealtimePass::Kind::elsewhere) watched = false;
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
  selectorBefore = selector;
  selector = SYSCALL_DISPATCH_FILTER_ALLOW;
#endif
}

void closePass() noexcept {
  watched = watchedBefore;
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
  selector = selectorBefore;
#endif
}

constexpr RealtimePass::Hooks kPassHooks{openPass, closePass};

// "function at file:line" for each address, from the binutils that come with the compiler.
std::string namesOf(const FirstOffender& offender) {
  std::string command = fmt::format("addr2line -Cfpis -e /proc/{}/exe", getpid());
  std::array<void*, 24> frames = offender.frames;
  char** const symbols = backtrace_symbols(frames.data(), offender.frameCount);
  if (!symbols) return "";
  std::string plain;
  for (int i = 0; i < offender.frameCount; ++i) {
    const std::string line = symbols[i];
    plain += "  " + line + "\n";
    const auto open = line.find("(+"), close = line.find(')');
    if (open != std::string::npos && close != std::string::npos && line.find(".so") == std::string::npos)
      command += " " + line.substr(open + 2, close - open - 2);
  }
  std::free(symbols);
  std::string named;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>/dev/null").c_str(), "r"), pclose);
  if (pipe)
    for (char text[512]; std::fgets(text, sizeof text, pipe.get());) named += std::string("  ") + text;
  return named.empty() ? plain : named;
}

}  // namespace

void note(Kind kind, const char* name) noexcept {
  counts[std::size_t(kind)].fetch_add(1, std::memory_order_relaxed);
  if (firstOffender.claimed.exchange(true)) return;
  // What the recording itself does is not the callback's doing.
  const bool before = std::exchange(watched, false);
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
  const char selectorBefore = selector;
  selector = SYSCALL_DISPATCH_FILTER_ALLOW;
#endif
  firstOffender.name = name;
  firstOffender.frameCount = backtrace(firstOffender.frames.data(), int(firstOffender.frames.size()));
  firstOffender.complete.store(true, std::memory_order_release);
#ifdef SONMERE_WATCHES_SYSTEM_CALLS
  selector = selectorBefore;
#endif
  watched = before;
}

}  // namespace realtime_watch

using namespace realtime_watch;

RealtimeGuard::RealtimeGuard() {
  linkInterposer();
  // The first backtrace loads a library: not inside a callback.
  void* frame = nullptr;
  backtrace(&frame, 1);
  systemCallsWatched();
  scopes = 0;
  for (auto& count : counts) count = 0;
  firstOffender.claimed = false;
  firstOffender.complete = false;
  if (active.exchange(true)) {
    std::fprintf(stderr, "real-time guard: two guards at a time\n");
    std::abort();
  }
  // The hooks stay for good, so that a scope that outlives its guard still ends in order.
  RealtimeScope::install(&kHooks);
  RealtimePass::install(&kPassHooks);
}

RealtimeGuard::~RealtimeGuard() { active = false; }

RealtimeViolations RealtimeGuard::violations() const {
  const auto count = [](Kind kind) { return counts[std::size_t(kind)].load(); };
  RealtimeViolations result{count(Kind::allocation), count(Kind::free), count(Kind::lock),
                            count(Kind::systemCall), ""};
  if (firstOffender.complete.load(std::memory_order_acquire))
    result.first = fmt::format("{}, called from\n{}", firstOffender.name, namesOf(firstOffender));
  return result;
}

long RealtimeGuard::scopesEntered() const { return scopes.load(); }

bool RealtimeGuard::watchesMemoryAndLocks() { return kCountsViolations; }

bool RealtimeGuard::watchesSystemCalls() { return systemCallsWatched(); }

testing::AssertionResult isRealtimeSafe(const RealtimeGuard& guard) {
  if (guard.scopesEntered() == 0)
    return testing::AssertionFailure() << "no render callback ran under the guard";
  const RealtimeViolations found = guard.violations();
  if (found.total() == 0) return testing::AssertionSuccess();
  return testing::AssertionFailure() << fmt::format(
             "in render callbacks: {} allocations, {} frees, {} locks, {} callbacks with system calls; "
             "first: {}",
             found.allocations, found.frees, found.locks, found.systemCalls, found.first);
}

}  // namespace sonmere
