#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>

#include "base/VirtualRuntime.h"
#include "dsp/Ring.h"
#include "platform/simulated/SampleSources.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "routing/AppTapEngine.h"

namespace sonmere {
namespace {

constexpr double kSecondsPerRound = 10;

// A machine with the driver on which `apps` programs play noise, each routed with equaliser and limiter on.
// `spread`: over all the Tracks; else all on one. `masters`: the master chains of the Tracks are on too.
struct BenchWorld {
  BenchWorld(int apps, bool spread, bool withMasters) : runtime(1), platform(runtime, log) {
    platform.host().plugStandardMachine();
    platform.host().installDriver();
    speakers = platform.host().hear(SimulatedHost::kSpeakersUID, DeviceRecorder::Keep::hashOnly);
    engine.start();
    for (int i = 0; i < apps; ++i) add("app" + std::to_string(i), spread ? 2 + i % 8 : 2, withMasters);
    runtime.advance(fromSeconds(1));
  }
  void add(const std::string& id, int bus, bool withMaster) {
    SimulatedAppDescription description;
    description.bundleID = description.name = id;
    auto app = platform.host().launchApp(description);
    engine.refreshApps();
    engine.setBus(id, bus);
    engine.effects().setAppEqualiser(id, {.isEnabled = true, .paraGain = 6}, SettingForm::final);
    engine.effects().setAppLimiter(id, {true, -6}, SettingForm::final);
    engine.effects().setMasterEqualiser(bus, {.isEnabled = withMaster, .paraGain = -3}, SettingForm::final);
    engine.effects().setMasterLimiter(bus, {withMaster, -1}, SettingForm::final);
    engine.setRouted(id, true);
    app.play(SampleSources::samples(noise(), true));
  }
  // Made once, so that the programs cost no more than their copying.
  static std::vector<float> noise() {
    std::minstd_rand random(1);
    std::uniform_real_distribution<float> distribution(-0.7f, 0.7f);
    std::vector<float> samples(2 * 48000);
    for (float& sample : samples) sample = distribution(random);
    return samples;
  }

  Log log;
  VirtualRuntime runtime;
  SimulatedPlatform platform;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  MicSend micSend;
  EngineContext context{runtime, log, settings, notifications, platform, flags, micSend, {}};
  AppTapEngine engine{context};
  std::shared_ptr<DeviceRecorder> speakers;
};

// The whole server and all renders in virtual time; "x_realtime" is virtual seconds per second of one core.
void wholeServer(benchmark::State& state) {
  BenchWorld world(int(state.range(0)), state.range(1) != 0, state.range(2) != 0);
  double seconds = 0;
  for (auto _ : state) {
    world.runtime.advance(fromSeconds(kSecondsPerRound));
    seconds += kSecondsPerRound;
  }
  state.counters["x_realtime"] = benchmark::Counter(seconds, benchmark::Counter::kIsRate);
  state.counters["hash"] = double(world.speakers->hash() % 1'000'000);
}
BENCHMARK(wholeServer)
    ->ArgNames({"apps", "spread", "masters"})
    ->Args({8, 1, 0})
    ->Args({8, 1, 1})
    ->Args({8, 0, 1})
    ->Args({32, 1, 0})
    ->Unit(benchmark::kMillisecond)
    ->Repetitions(5)
    ->ReportAggregatesOnly();

// One ring write and read of 256 stereo frames, and the two copies that it amounts to.
void ringWriteAndRead(benchmark::State& state) {
  std::vector<float> ring(kTapRingSamples), block(512, 0.5f);
  RTPosition writePos, readPos;
  for (auto _ : state) {
    ringWrite<kTapRingSamples>(ring.data(), writePos, readPos, block.data(), 512);
    const std::int64_t at = readPos.loadRelaxed();
    ringCopyOut<kTapRingSamples>(ring.data(), at, block.data(), 512);
    readPos.storeRelease((at + 512) % kTapRingSamples);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(ringWriteAndRead);

void twoCopies(benchmark::State& state) {
  std::vector<float> ring(kTapRingSamples), block(512, 0.5f);
  std::size_t at = 0;
  for (auto _ : state) {
    std::memcpy(ring.data() + at, block.data(), 2048);
    benchmark::ClobberMemory();
    std::memcpy(block.data(), ring.data() + at, 2048);
    benchmark::ClobberMemory();
    at = (at + 512) % (kTapRingSamples - 512);
  }
}
BENCHMARK(twoCopies);

}  // namespace
}  // namespace sonmere
