#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <random>

#include "driver/TrackNamesStore.h"
#include "mixer/VolumeMixerEngine.h"
#include "routing/monitor/MonitorOutput.h"
#include "support/RealtimeGuard.h"
#include "support/RoutingWorld.h"
#include "system/DAWAggregateEngine.h"
#include "system/MixModeEngine.h"
#include "system/SystemAudioEngine.h"

namespace sonmere {
namespace {

constexpr int kStories = 24;
constexpr int kActs = 25;
constexpr const char* kSpeakers = SimulatedHost::kSpeakersUID;
constexpr const char* kHeadset = SimulatedHost::kHeadsetUID;
// Whose sums tell who is heard, and how often.
const std::map<std::string, float> kLevels{{"music", 1 / 32.0f}, {"game", 1 / 16.0f}, {"radio", 1 / 8.0f}};

// Everything that leads sound to the user, and a user who does at random what can be done with it.
class SystemStory {
 public:
  explicit SystemStory(std::uint64_t seed) : random_(seed), world_(seed, {.needsSettling = seed % 2 == 0}) {
    for (const char* uid : {kSpeakers, kHeadset}) world_.host().setNominalRate(uid, 48000);
    world_.settings.set(SystemAudioEngine::kSelectedOutputDeviceUIDKey, kSpeakers);
    world_.startEngine();
    for (const auto& [app, level] : kLevels) {
      apps_[app] = world_.launch(app);
      apps_[app].play(SampleSources::samples({level, level}, true));
    }
    mixer_ = std::make_unique<VolumeMixerEngine>(world_.context,
                                                 std::make_shared<TrackNamesStore>(world_.settings));
    mixer_->attach(world_.engine);
    monitor_ = std::make_unique<MonitorOutput>(world_.context);
    monitor_->launch();
    daw_ = std::make_unique<DAWAggregateEngine>(world_.context);
    daw_->launch();
    system_ = std::make_unique<SystemAudioEngine>(world_.context, "1");
    system_->launch();
    mix_ = std::make_unique<MixModeEngine>(world_.context);
    tieMixMode();
    world_.wait(3);
  }
  ~SystemStory() {
    reasons_.clear();
    mix_.reset();
    system_.reset();
    EXPECT_FALSE(isDefaultOurs()) << "an end gives the output back";
    daw_.reset();
    monitor_.reset();
    mixer_.reset();
  }

  void play() {
    for (int each = 0; each < kActs && !testing::Test::HasFailure(); ++each) {
      const std::string act = step();
      acts_ += act + "; ";
      SCOPED_TRACE(acts_);
      world_.wait(double(below(300)) / 1000);
      // The next comes before this one has come to rest, or after.
      if (below(3) == 0) continue;
      world_.wait(6);
      EXPECT_EQ(isDefaultOurs(), *system_->isEnabled);
      EXPECT_TRUE(!isDefaultOurs() || isAskedFor_) << "the default output is ours, and nobody wants it";
      expectEachHeardOnce();
    }
  }

 private:
  void tieMixMode() {
    RoutingMixMode& routing = world_.engine->mixMode();
    routing.capturedElsewhere = [this] {
      std::vector<AudioObjectID> processes;
      for (const auto& [bundleID, tap] : mixer_->activeTaps())
        processes.insert(processes.end(), tap->audioObjectIDs.begin(), tap->audioObjectIDs.end());
      return processes;
    };
    reasons_.push_back(world_.notifications.observe(
        MixModeEngine::kChanged, [this, &routing](const NotificationInfo&) { routing.apply(mix_->wish()); }));
    reasons_.push_back(mixer_->heardBundleIDs.observe([&routing](const auto&) { routing.update(); }));
    mix_->launch();
  }
  int below(int n) { return int(random_() % std::uint64_t(n)); }
  bool isDefaultOurs() {
    return world_.host().defaultUID(DefaultDevice::output).starts_with(kMultiOutputUID);
  }
  SimulatedHost& host() { return world_.host(); }

  std::string step() {
    auto chosen = kLevels.begin();
    std::advance(chosen, below(int(kLevels.size())));
    const std::string& app = chosen->first;
    const bool on = below(2) == 0;
    const std::string way = on ? " on" : " off";
    const char* output = on && host().isPlugged(kHeadset) ? kHeadset : kSpeakers;
    switch (below(15)) {
      case 0:
      case 1:
        world_.engine->setRouted(app, on);
        return "route " + app + way;
      case 2:
        world_.engine->setBus(app, below(2) == 0 ? 0 : 3);
        return "another bus of " + app;
      case 3:
        // What Mix Mode has switched on and the user off again is not to be heard.
        if (!on && *mix_->isEnabled) return "nothing";
        world_.engine->monitors().setMonitored(app, on);
        return "monitor " + app + way;
      case 4:
        mixer_->setEnabled(on);
        return "mixer" + way;
      case 5:
        mixer_->setDirect(app, on);
        return "direct " + app + way;
      case 6:
      case 7:
        if (mix_->setEnabled(on) && on) isAskedFor_ = false;
        return "Mix Mode" + way;
      case 8:
        mix_->setIncludeSystemAudio(on);
        return "catch-all" + way;
      case 9:
      case 10:
        isAskedFor_ = on;
        system_->setEnabled(on);
        return "system audio" + way;
      case 11:
        system_->setFollowing(on);
        return "following" + way;
      case 12:
        host().setDefault(DefaultDevice::output, output);
        return std::string("default ") + output;
      case 13:
        on ? monitor_->followDefault() : void(monitor_->select(kSpeakers));
        daw_->setEnabled(below(2) == 0);
        return "monitor follows" + way;
      default:
        return disturb();
    }
  }
  std::string disturb() {
    switch (below(3)) {
      case 0:
        host().restartService(fromMilliseconds(below(500)));
        return "restart";
      case 1:
        host().sleep();
        world_.wait(2);
        host().wake();
        return "sleep";
      default:
        host().isPlugged(kHeadset) ? host().unplug(kHeadset) : host().replug(kHeadset);
        return "headset";
    }
  }

  // On all real outputs together.
  void expectEachHeardOnce() {
    float heard = 0, wanted = 0;
    for (const char* uid : {kSpeakers, kHeadset}) {
      if (!host().isPlugged(uid)) continue;
      const auto ear = host().hear(uid);
      world_.wait(0.2);
      ear->takePeak();
      world_.wait(0.3);
      heard += ear->takePeak();
    }
    for (const auto& [app, level] : kLevels) wanted += level;
    EXPECT_NEAR(heard, wanted, 0.002) << "music, game and radio are 1, 2 and 4 of 32: " << heard * 32;
  }

  std::mt19937_64 random_;
  RoutingWorld world_;
  std::map<std::string, SimulatedApp> apps_;
  std::unique_ptr<VolumeMixerEngine> mixer_;
  std::unique_ptr<MonitorOutput> monitor_;
  std::unique_ptr<DAWAggregateEngine> daw_;
  std::unique_ptr<SystemAudioEngine> system_;
  std::unique_ptr<MixModeEngine> mix_;
  std::vector<Subscription> reasons_;
  bool isAskedFor_ = false;
  std::string acts_;
};

}  // namespace

// SONMERE_SEED=N replays one story.
TEST(SystemStories, TheDefaultIsOursOnlyWhenAskedForAndEachSoundIsHeardOnce) {
  const char* chosen = std::getenv("SONMERE_SEED");
  const int first = chosen ? std::atoi(chosen) : 1, count = chosen ? 1 : kStories;
  RealtimeGuard guard;
  for (int seed = first; seed < first + count && !testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("replay with SONMERE_SEED=" + std::to_string(seed));
    SystemStory(std::uint64_t(seed)).play();
  }
  EXPECT_REALTIME_SAFE(guard);
}

}  // namespace sonmere
