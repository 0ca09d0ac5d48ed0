// What a chain in a process of its own costs beside the plug-in itself: the processor's time of the callback
// and of the helper together, less that of the same plug-in in the callback, as a share of the block.
#include <fmt/format.h>
#include <poll.h>
#include <sys/types.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

#include "Bench.h"
#include "audio/effects/IsolatedRun.h"
#include "audio/effects/TrustedRun.h"
#include "base/LiveRuntime.h"
#include "platform/effects/Lv2EffectsHost.h"
#include "platform/effects/ProcessChainHelper.h"

namespace {

using namespace sonmere;

constexpr const char* kPlugin = "http://lv2plug.in/plugins/eg-amp";
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

// The helper of the build that this program is of.
std::string helperPath() {
  std::error_code ignored;
  const auto here = std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
  return (here.parent_path() / "sonmere-effects").string();
}

struct Costs {
  double inside = 0, handing = 0, helping = 0;  // us a block
  std::int64_t late = 0;
};

// Nothing where the plug-in is not installed.
std::optional<Costs> measure() {
  LiveRuntime runtime;
  Log log;
  Lv2EffectsHost host(runtime, log, {helperPath(), "", "/tmp/sonmere-bench-files"});
  TrustedRun own(host);
  if (!apply(runtime, own, kPlugin)) return std::nullopt;
  auto helper = host.startHelper();
  if (!helper) benchFailed(helper.error().description);
  clockid_t helperClock{};
  const pid_t process = static_cast<ProcessChainHelper&>(**helper).process();
  IsolatedRun isolated(runtime, std::move(*helper));
  if (!apply(runtime, isolated, kPlugin) || clock_getcpuclockid(process, &helperClock) != 0)
    benchFailed("the helper of plug-ins does not run");
  Costs costs;
  costs.inside = callbackTime(*own.snapshot());
  const double before = microseconds(helperClock);
  costs.handing = callbackTime(*isolated.snapshot());
  costs.helping = (microseconds(helperClock) - before) / (kWarmUp + kBlocks);
  costs.late = std::int64_t(
      static_cast<const IsolatedChain&>(*isolated.snapshot()->plugins[0]->instance).lateBlocks());
  return costs;
}

}  // namespace

void sonmere::benchEffects(Bench& bench) {
  const auto costs = measure();
  if (!costs) return bench.note(fmt::format("H3 is left out: {} is not installed (lv2-examples)", kPlugin));
  bench.add({"H3",
             "isolated chain beyond its plug-in, % of 256 frames",
             100 * (costs->handing + costs->helping - costs->inside) / kBlockMicroseconds,
             kGoalPercent,
             true,
             {}});
  bench.note(fmt::format(
      "H3: plug-in alone {:.2f} us a block; isolated {:.2f} us in the callback and {:.2f} us in the "
      "helper; late: {} of {}",
      costs->inside, costs->handing, costs->helping, costs->late, kWarmUp + kBlocks));
}
