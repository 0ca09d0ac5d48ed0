#include <gtest/gtest.h>

#include "base/VirtualRuntime.h"
#include "control/Control.h"
#include "control/RuleCodec.h"
#include "platform/simulated/SimulatedPlatform.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

using Reason = RuleReason::Kind;
using Act = RuleAct::Kind;

struct RuleTest : testing::Test {
  RuleTest() {
    for (const char* id : {"org.music", "org.talk"}) world.launch(id);
    world.app->startUp();
    world.platform.embedded()->playAll();
    wait(1);
  }
  void wait(double seconds) { world.runtime.advance(fromSeconds(seconds)); }
  int add(RuleReason when, RuleAct act) {
    const auto made = control->rules().add({0, std::move(when), std::move(act), true});
    EXPECT_TRUE(made);
    wait(0.1);
    return made ? made->rule.id : 0;
  }
  static RuleAct route(int bus) { return {Act::route, "org.music", bus}; }
  std::optional<int> bus() { return control->apps().get("org.music")->bus; }
  float volume() { return control->apps().get("org.music")->volume; }
  void begin(const char* id) {
    world.launch(id);
    world.platform.embedded()->playAll();
    wait(1);
  }
  void end(const char* id) {
    world.platform.platform().applications().terminate(world.app->appTapEngine()->row(id)->id);
    wait(RuleKeeper::kLinger.count() / 1e9 + 2);
  }
  RuleState first() { return control->rules().list().at(0); }

  AppWorld<VirtualRuntime> world{1};
  std::optional<Control> control{std::in_place, world.start(), world.platform, [] {}};
};

TEST_F(RuleTest, AnActHoldsAsLongAsItsAppRunsAndIsTakenBack) {
  ASSERT_TRUE(control->mixer().setEnabled(true));
  ASSERT_TRUE(control->apps().route("org.music", 2));
  ASSERT_TRUE(control->profiles().save("Mine"));
  ASSERT_TRUE(control->apps().route("org.music", 4));
  add({Reason::app, "ORG.Call"}, {Act::profile, "mine", {}});
  EXPECT_EQ(bus(), 4) << "nothing without its reason";
  begin("org.call");
  EXPECT_EQ(bus(), 2);
  EXPECT_TRUE(first().isActive);
  end("org.call");
  EXPECT_EQ(bus(), 4);
  EXPECT_FALSE(first().isActive);
}

TEST_F(RuleTest, WhatTheUserChangesMeanwhileStays) {
  ASSERT_TRUE(control->apps().route("org.music", 4));
  const int rule = add({Reason::mic, ""}, route(2));
  const int quiet = add({Reason::mic, ""}, {Act::volume, "org.music", {}, 0.25f});
  ASSERT_TRUE(control->input().setEnabled(true));
  wait(1);
  EXPECT_EQ(bus(), 2);
  EXPECT_EQ(volume(), 0.25f);
  ASSERT_TRUE(control->apps().route("org.music", 5));
  ASSERT_TRUE(control->input().setEnabled(false));
  wait(10);
  EXPECT_EQ(bus(), 5);
  EXPECT_EQ(volume(), 1.0f) << "that was not touched";
  ASSERT_TRUE(control->rules().remove(rule));
  EXPECT_FALSE(control->rules().remove(rule));
  ASSERT_TRUE(control->input().setEnabled(true));
  wait(1);
  EXPECT_EQ(bus(), 5);
  ASSERT_TRUE(control->rules().setEnabled(quiet, false));
  EXPECT_EQ(volume(), 1.0f) << "a rule that is turned off takes back what it did";
}

// Whichever ends first, in the end it is as it was.
TEST_F(RuleTest, RulesOnOneAppGiveWayToEachOther) {
  ASSERT_TRUE(control->apps().route("org.music", 4));
  add({Reason::app, "org.call"}, route(2));
  add({Reason::device, "headset"}, route(3));
  EXPECT_EQ(bus(), 3) << "the device is there";
  begin("org.call");
  EXPECT_EQ(bus(), 2);
  ASSERT_TRUE(control->rules().setEnabled(2, false));
  EXPECT_EQ(bus(), 2) << "the later one stays in force";
  end("org.call");
  EXPECT_EQ(bus(), 4);
}

// A player is away from the server between two pieces.
TEST_F(RuleTest, AShortAbsenceIsNoEnd) {
  add({Reason::app, "org.talk"}, route(2));
  ASSERT_EQ(bus(), 2);
  world.platform.platform().applications().terminate(world.app->appTapEngine()->row("org.talk")->id);
  wait(2);
  begin("org.talk");
  wait(10);
  EXPECT_EQ(bus(), 2);
  EXPECT_TRUE(first().isActive);
}

TEST_F(RuleTest, TheyAreKeptDoneAnewAtTheNextStartAndTakenBackAtTheEnd) {
  add({Reason::app, "org.talk"}, route(2));
  add({Reason::app, "org.talk"}, {Act::profile, "gone", {}});
  EXPECT_EQ(bus(), 2);
  EXPECT_TRUE(control->rules().list()[1].problem.value_or("").contains("gone"));
  control.reset();
  EXPECT_TRUE(world.app->appTapEngine()->routedApps().empty());
  control.emplace(*world.app, world.platform, [] {});
  wait(1);
  EXPECT_EQ(bus(), 2);
  EXPECT_EQ(control->rules().list().size(), 2u);
  world.settings.set(RuleKeeper::kKey, SettingsData{R"([{"rule":7},{"rule":8,"when":{"kind":"mic"},)"
                                                    R"("act":{"kind":"mute","target":"a"}},[]])"});
  control.emplace(*world.app, world.platform, [] {});
  ASSERT_EQ(control->rules().list().size(), 1u) << "what can't be read costs no other";
  EXPECT_EQ(actText(first().rule.act), "mute a on");
}

}  // namespace
}  // namespace sonmere
