#include <fmt/format.h>

#include <cstdint>
#include <cstring>
#include <random>

#include "Bench.h"
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

// The whole server and all renders in virtual time: virtual seconds per second of one core.
double timesRealTime(int apps, bool spread, bool withMasters, int rounds) {
  BenchWorld world(apps, spread, withMasters);
  std::vector<double> speeds;
  for (int round = 0; round < rounds; ++round) {
    const std::int64_t begin = threadTime();
    world.runtime.advance(fromSeconds(kSecondsPerRound));
    speeds.push_back(kSecondsPerRound * 1e9 / double(threadTime() - begin));
  }
  return median(std::move(speeds));
}

constexpr int kBlocks = 2000;

// Ring writes and reads of 256 stereo frames, and the two copies that each amounts to.
double ringPerCopies(const Bench& bench) {
  std::vector<float> ring(kTapRingSamples), block(512, 0.5f);
  RTPosition writePos, readPos;
  const auto throughRing = [&] {
    for (int i = 0; i < kBlocks; ++i) {
      ringWrite<kTapRingSamples>(ring.data(), writePos, readPos, block.data(), 512);
      const std::int64_t at = readPos.loadRelaxed();
      ringCopyOut<kTapRingSamples>(ring.data(), at, block.data(), 512);
      readPos.storeRelease((at + 512) % kTapRingSamples);
      asm volatile("" ::: "memory");
    }
  };
  std::size_t at = 0;
  const auto copies = [&] {
    for (int i = 0; i < kBlocks; ++i) {
      std::memcpy(ring.data() + at, block.data(), 2048);
      asm volatile("" ::: "memory");
      std::memcpy(block.data(), ring.data() + at, 2048);
      asm volatile("" ::: "memory");
      at = (at + 512) % (kTapRingSamples - 512);
    }
  };
  return bench.ratio(throughRing, copies);
}

}  // namespace

void benchSimulation(Bench& bench) {
  bench.add({"B1", "ring write + read of 256 frames / two copies", ringPerCopies(bench), 1.15, true, ""});
  const int rounds = bench.rounds() < 5 ? bench.rounds() : 5;
  bench.add({"A7", "whole server, 8 apps with EQ and limiter, x real time",
             timesRealTime(8, true, false, rounds), 200, false, ""});
  bench.note(fmt::format(
      "A7 with all bus masters on too: {:.0f}; on one bus with its master on: {:.0f}; 32 apps: {:.0f}",
      timesRealTime(8, true, true, rounds), timesRealTime(8, false, true, rounds),
      timesRealTime(32, true, false, rounds)));
}

}  // namespace sonmere
