#include "base/StopSignals.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <map>
#include <vector>

#include "base/LiveRuntime.h"

namespace sonmere {
namespace {

constexpr int kToldOnce = 64;  // plus the signal
constexpr Duration kAtOnce{0};
constexpr Duration kLater = StopSignals::kPatience + fromMilliseconds(50);

struct Arrival {
  int signal;
  Duration after;  // the one before
};

// What becomes of a process that gets these signals: the wait status of a child that tells which signal it
// was told. What comes before the first wait comes before anybody can be told.
int fate(const std::vector<Arrival>& arrivals, bool isHangupIgnored) {
  const pid_t child = fork();
  if (child == 0) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, SIG_DFL);
    if (isHangupIgnored) std::signal(SIGHUP, SIG_IGN);
    LiveRuntime runtime;
    const auto watcher = std::move(*FileDescriptorWatcher::create(runtime.mainQueue()));
    StopSignals signals;
    std::vector<int> told;
    Duration at{0};
    std::map<Duration, std::vector<int>> raised;
    for (const Arrival& arrival : arrivals) raised[at += arrival.after].push_back(arrival.signal);
    for (const int signal : raised[kAtOnce]) raise(signal);
    raised.erase(kAtOnce);
    for (const auto& [time, together] : raised)
      runtime.mainQueue().postAfter(time, [=] {
        for (const int signal : together) raise(signal);
      });
    if (!signals.tell(*watcher, [&](int signal) { told.push_back(signal); })) _exit(1);
    // A moment for what must not be told after the first, however long that takes on a busy machine.
    const std::function<void()> endSoon = [&] {
      runtime.mainQueue().postAfter(fromMilliseconds(50), [&] { told.empty() ? endSoon() : runtime.stop(); });
    };
    runtime.mainQueue().postAfter(at, endSoon);
    alarm(60);
    runtime.run();
    _exit(told.size() == 1 ? kToldOnce + told[0] : 2);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

TEST(LiveStopSignals, TheFirstIsToldAndOnlyASecondCtrlCOfAPersonEndsTheProcess) {
  const auto told = [](int signal) { return W_EXITCODE(kToldOnce + signal, 0); };
  struct Case {
    const char* what;
    std::vector<Arrival> arrivals;
    bool isHangupIgnored;
    int status;
  };
  const Case cases[] = {
      {"before anybody can be told", {{SIGTERM, kAtOnce}}, false, told(SIGTERM)},
      {"a terminal that closes",
       {{SIGHUP, kLater}, {SIGHUP, kLater}, {SIGTERM, kLater}},
       false,
       told(SIGHUP)},
      {"Ctrl-C passed on by a parent", {{SIGINT, kLater}, {SIGINT, kAtOnce}}, false, told(SIGINT)},
      {"Ctrl-C twice", {{SIGINT, kLater}, {SIGINT, kLater}}, false, SIGINT},
      {"an end that takes too long", {{SIGTERM, kLater}, {SIGINT, kLater}}, false, SIGINT},
      {"nohup", {{SIGHUP, kAtOnce}, {SIGHUP, kLater}, {SIGTERM, kLater}}, true, told(SIGTERM)},
  };
  for (const Case& each : cases)
    EXPECT_EQ(fate(each.arrivals, each.isHangupIgnored), each.status) << each.what;
}

TEST(LiveStopSignals, TheSignalsDoAfterwardsWhatTheyDidBefore) {
  const auto ignored = std::signal(SIGHUP, SIG_IGN), defaulted = std::signal(SIGTERM, SIG_DFL);
  { const StopSignals signals; }
  EXPECT_EQ(std::signal(SIGHUP, ignored), SIG_IGN);
  EXPECT_EQ(std::signal(SIGTERM, defaulted), SIG_DFL);
}

}  // namespace
}  // namespace sonmere
