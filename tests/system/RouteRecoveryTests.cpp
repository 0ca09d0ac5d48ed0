#include <gtest/gtest.h>

#include "base/VirtualRuntime.h"
#include "platform/simulated/SimulatedHost.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "system/RouteRecoveryCoordinator.h"

namespace sonmere {
namespace {

// A route that counts what is asked of it and fares as it is told to.
struct PlainRoute final : Route {
  PlainRoute(std::string id, RouteHealthVerdict verdict) : entry{id, "Name of " + id, verdict, ""} {}
  void serverLost() override {}
  void revalidate(RevalidationReason reason) override { revalidations.push_back(reason); }
  RouteHealthEntry health() const override { return entry; }
  RouteHealthEntry check(RevalidationReason reason) override {
    checks.push_back(reason);
    if (duringCheck) duringCheck();
    return entry;
  }
  void reset(ResetRoutingResult& result) override { ++result.sweptAggregates; }
  RouteHealthEntry entry;
  std::function<void()> duringCheck;
  std::vector<RevalidationReason> checks, revalidations;
};

struct RouteRecoveryTest : testing::Test {
  RouteRecoveryTest() {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
    host.plugStandardMachine();
    host.installDriver();
    coordinator.attach({&toggle.value});
    advance(5);
    route.checks.clear();
    route.revalidations.clear();
    lines.clear();
  }
  void advance(double seconds) { runtime.advance(fromSeconds(seconds)); }
  std::vector<RevalidationReason> take() { return std::exchange(route.checks, {}); }
  int count(const std::string& line) const { return int(std::ranges::count(lines, line)); }

  using Reasons = std::vector<RevalidationReason>;
  VirtualRuntime runtime{1};
  Log log;
  MemorySettingsStore settings;
  NotificationCenter notifications;
  RenderFlags flags;
  const std::unique_ptr<MicSend> micSend = std::make_unique<MicSend>();
  SimulatedPlatform platform{runtime, log, {.needsSettling = true}};
  SimulatedHost& host = platform.host();
  EngineContext context{runtime, log, settings, notifications, platform, flags, *micSend, {}};
  TrackNamesStore trackNames{settings};
  struct Toggle {
    void set(bool on) { value.set(on); }
    OwnedObservable<bool, Toggle> value{false};
  } toggle;
  PlainRoute route{"input", RouteHealthVerdict::healthy};
  RouteKeeper::Registration registration = context.routes.add(route);
  RouteRecoveryCoordinator coordinator{context, trackNames};
  std::vector<std::string> lines;
};

TEST_F(RouteRecoveryTest, EachTriggerIsOnePassOnceItHasComeToRest) {
  host.sleep();
  host.wake();
  advance(1.0);
  host.sleep();
  host.wake();
  advance(1.4);
  EXPECT_EQ(take(), Reasons{}) << "the second sleep takes the first wake back";
  advance(0.2);
  EXPECT_EQ(take(), Reasons{RevalidationReason::wake});
  EXPECT_EQ(count("didWake: scheduling revalidation in 1.5s"), 2);

  for (int i = 0; i < 20; ++i) {
    i % 2 == 0 ? host.unplug(SimulatedHost::kHeadsetUID) : host.replug(SimulatedHost::kHeadsetUID);
    advance(0.05);
  }
  advance(0.9);
  EXPECT_EQ(take(), Reasons{});
  advance(0.15);
  EXPECT_EQ(take(), Reasons{RevalidationReason::deviceChange}) << "a burst is one";

  host.restartService();
  advance(1.9);
  EXPECT_EQ(count("coreaudiod restarted — scheduling full revalidation in 2.0s"), 1);
  advance(0.3);
  const Reasons afterRestart = take();
  EXPECT_EQ(std::ranges::count(afterRestart, RevalidationReason::serviceRestart), 1);

  toggle.set(false);
  advance(1);
  EXPECT_EQ(take(), Reasons{}) << "as it was";
  toggle.set(true);
  advance(0.7);
  EXPECT_EQ(take(), Reasons{});
  advance(0.2);
  EXPECT_EQ(take(), Reasons{RevalidationReason::deviceChange});

  coordinator.revalidateSoon();
  advance(2.4);
  EXPECT_EQ(take(), Reasons{});
  advance(0.2);
  EXPECT_EQ(take(), Reasons{RevalidationReason::deviceChange});
}

TEST_F(RouteRecoveryTest, NothingIsLookedAtWhileTheMachineSleeps) {
  host.sleep();
  runtime.settle();
  EXPECT_EQ(count("willSleep: routes suspended, wake pass cancelled"), 1);
  host.unplug(SimulatedHost::kHeadsetUID);
  toggle.set(true);
  advance(3);
  EXPECT_EQ(take(), Reasons{});
  EXPECT_TRUE(route.revalidations.empty());
  host.wake();
  advance(2);
  EXPECT_EQ(take(), Reasons{RevalidationReason::wake});
  EXPECT_EQ(route.revalidations, Reasons{RevalidationReason::wake});
}

TEST_F(RouteRecoveryTest, ATriggerDuringAPassIsDroppedAndDoesNotQueue) {
  route.duringCheck = [this] { coordinator.revalidate(RevalidationReason::deviceChange); };
  coordinator.revalidate(RevalidationReason::manual);
  advance(5);
  EXPECT_EQ(take(), Reasons{RevalidationReason::manual});
  EXPECT_EQ(count("revalidate(deviceChange): pass already running, skipping"), 1);
  EXPECT_EQ(count("revalidate(manual): healthy 1"), 1);
  EXPECT_FALSE(*coordinator.isRevalidating);
  EXPECT_EQ(*coordinator.lastRevalidation, runtime.wallTime() - fromSeconds(5));
}

TEST_F(RouteRecoveryTest, TheTableHasAFixedOrderAndTellsOfAServerThatIsAway) {
  PlainRoute mixer{"mixer", RouteHealthVerdict::degraded}, driver{"driver", RouteHealthVerdict::inactive};
  const auto first = context.routes.add(mixer), second = context.routes.add(driver);
  coordinator.revalidate(RevalidationReason::manual);
  ASSERT_EQ(coordinator.routeHealth->size(), 3u);
  EXPECT_EQ((*coordinator.routeHealth)[0].id, "driver");
  EXPECT_EQ((*coordinator.routeHealth)[1].id, "input");
  EXPECT_EQ((*coordinator.routeHealth)[2].id, "mixer");
  EXPECT_EQ(count("revalidate(manual): healthy 1, degraded 1, inactive 1"), 1);
  EXPECT_EQ(coordinator.currentHealth(), *coordinator.routeHealth);
  host.faults().failFrom(Operation::devices, 1, kAudioHardwareNotRunningError);
  EXPECT_EQ(coordinator.currentHealth()[0].verdict, RouteHealthVerdict::inactive);
  EXPECT_EQ(coordinator.currentHealth()[1].verdict, RouteHealthVerdict::broken);
  EXPECT_EQ(coordinator.currentHealth()[2].detail, "The audio server does not answer");
}

TEST_F(RouteRecoveryTest, AResetIsOneAndEndsWithAPass) {
  std::vector<int> swept;
  const auto note = [&](const ResetRoutingResult& result) { swept.push_back(result.sweptAggregates); };
  coordinator.resetRouting(note);
  coordinator.resetRouting(note);
  EXPECT_TRUE(*coordinator.isResetting);
  EXPECT_EQ(take(), Reasons{});
  advance(1);
  EXPECT_EQ(swept, (std::vector{1, 1})) << "both are told of the same";
  EXPECT_EQ(take(), Reasons{RevalidationReason::manual});
  EXPECT_FALSE(*coordinator.isResetting);
  EXPECT_EQ((*coordinator.lastResetResult)->finishedAt, runtime.wallTime() - fromSeconds(1));
}

TEST_F(RouteRecoveryTest, APassPublishesTheNamesAgainAndInventsNone) {
  coordinator.revalidate(RevalidationReason::manual);
  EXPECT_TRUE(settings.keys().empty()) << "no name was given";
  trackNames.setTrackName(3, "Drums");
  int told = 0;
  const auto names = trackNames.trackNames.observe([&](const auto&) { ++told; });
  coordinator.revalidate(RevalidationReason::manual);
  EXPECT_EQ(told, 1);
}

}  // namespace
}  // namespace sonmere
