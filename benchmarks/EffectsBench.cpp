// What a chain in a process of its own costs beside the plug-in itself: the processor's time of the callback
// and of the helper together, less that of the same plug-in in the callback, as a share of the block. The
// arguments are the helper's path, and a plug-in's URI instead of an amplifier's.
#include <fmt/format.h>
#include <poll.h>
#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <thread>
#include <vector>

#include "audio/effects/IsolatedRun.h"
#include "audio/effects/TrustedRun.h"
#include "base/LiveRuntime.h"
#include "platform/effects/Lv2EffectsHost.h"
#include "platform/effects/ProcessChainHelper.h"

namespace {

using namespace sonmere;

constexpr std::uint32_t kFrames = 256;
constexpr double kRate = 48000, kGoalPercent = 3;
constexpr double kBlockMicroseconds = 1e6 * kFrames / kRate;
constexpr int kBlocks = 4000, kWarmUp = 200;
constexpr auto kPause = std::chrono::microseconds(1500);

double microseconds(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return double(time.tv_sec) * 1e6 + double(time.tv_nsec) / 1e3;
}

bool apply(LiveRuntime& runtime, ChainRun& run, const std::string& id) {
  bool isDone = false, isMade = false;
  run.apply({kRate, {{1, id, "", {}, false}}}, [&](const Outcome<ChainReport>& report) {
    isDone = true;
    isMade = report && report->plugins[0].error.empty();
  });
  for (int turn = 0; turn < 1000 && !isDone; ++turn) {
    pollfd wake{runtime.mainQueueDescriptor(), POLLIN, 0};
    poll(&wake, 1, 10);
    runtime.runDue();
  }
  return isMade;
}

// Of the calling thread, per block.
double callbackTime(const PluginChainSnapshot& chain) {
  std::vector<float> block(2 * kFrames, 0.25f);
  double all = 0;
  for (int i = 0; i < kWarmUp + kBlocks; ++i) {
    const double before = microseconds(CLOCK_THREAD_CPUTIME_ID);
    chain.render(block.data(), kFrames);
    if (i >= kWarmUp) all += microseconds(CLOCK_THREAD_CPUTIME_ID) - before;
    std::ranges::fill(block, 0.25f);
    std::this_thread::sleep_for(kPause);
  }
  return all / kBlocks;
}

int fail(const char* what) {
  fmt::print(stderr, "sonmere_effects_bench: {}\n", what);
  return 1;
}

int bench(const std::string& helperPath, const std::string& id) {
  LiveRuntime runtime;
  Log log;
  Lv2EffectsHost host(runtime, log, {helperPath, "", "/tmp/sonmere-bench-files"});
  TrustedRun own(host);
  if (!apply(runtime, own, id)) return fail("the plug-in can't be used");
  auto helper = host.startHelper();
  if (!helper) return fail(helper.error().description.c_str());
  clockid_t helperClock{};
  const pid_t process = static_cast<ProcessChainHelper&>(**helper).process();
  IsolatedRun isolated(runtime, std::move(*helper));
  if (!apply(runtime, isolated, id) || clock_getcpuclockid(process, &helperClock) != 0)
    return fail("the helper does not run");
  const double inside = callbackTime(*own.snapshot());
  const double before = microseconds(helperClock);
  const double handing = callbackTime(*isolated.snapshot());
  const double helping = (microseconds(helperClock) - before) / (kWarmUp + kBlocks);
  const double share = 100 * (handing + helping - inside) / kBlockMicroseconds;
  const auto& chain = static_cast<const IsolatedChain&>(*isolated.snapshot()->plugins[0]->instance);
  fmt::print("plug-in alone {:.2f} us; isolated {:.2f} us in the callback and {:.2f} us in the helper\n",
             inside, handing, helping);
  fmt::print("cost beyond the plug-in: {:.2f} % of a block of {} frames (goal: below {} %); late: {} of {}\n",
             share, kFrames, kGoalPercent, chain.lateBlocks(), kWarmUp + kBlocks);
  return share < kGoalPercent ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
  if (count < 2) return fail("usage: sonmere_effects_bench HELPER [URI]");
  return bench(words[1], count > 2 ? words[2] : "http://lv2plug.in/plugins/eg-amp");
}
