#include <gtest/gtest.h>

#include <cmath>

#include "EffectsWorld.h"
#include "audio/effects/ChainRunner.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

constexpr const char* kGain = "urn:sonmere:gain";
constexpr const char* kCrashing = "urn:sonmere:crashing";

struct PluginChainTest : testing::Test {
  ~PluginChainTest() override {
    if (guard->scopesEntered() > 0) {
      EXPECT_REALTIME_SAFE(*guard);
    }
    world.chains.reset();
    world.published.publish(nullptr, world.retirement, PluginChainSnapshot::kGrace);
    world.wait(5);
    EXPECT_EQ(SimulatedEffect::living(), 0);
    EXPECT_EQ(world.host.livingHelpers(), 0);
  }
  // What comes of ones once the chain's answers are there.
  float settled() {
    for (int i = 0; i < 4; ++i) world.render(1.0f);
    return world.render(1.0f);
  }
  std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const auto& plugin : world.chain().plugins()) all.push_back(plugin.entry.name);
    return all;
  }

  EffectsWorld world;
  std::unique_ptr<RealtimeGuard> guard = std::make_unique<RealtimeGuard>();
};

TEST_F(PluginChainTest, WhatTheUserWantsSoundsAndIsThereAgainAfterARestart) {
  world.place();
  ASSERT_TRUE(world.add(kGain));
  ASSERT_TRUE(world.add("urn:sonmere:delay"));
  EXPECT_TRUE(world.chain().setControl(0, "gain", -6.0206f));
  EXPECT_TRUE(world.chain().setControl(1, "time", 0.015625f));
  EXPECT_NEAR(settled(), 0.5f, 1e-4f);
  world.wait(2);
  EXPECT_EQ(world.chain().latencyFrames(), 256 + 750);
  EXPECT_TRUE(world.chain().move(1, 0));
  EXPECT_TRUE(world.chain().setBypassed(1, true));
  world.wait(0.1);
  EXPECT_NEAR(settled(), 1.0f, 1e-6f);
  EXPECT_EQ(names(), (std::vector<std::string>{"Delay", "Gain"}));

  world.chains = std::make_unique<PluginChains>(world.runtime, world.log, world.settings, &world.host);
  EXPECT_EQ(names(), (std::vector<std::string>{"Delay", "Gain"}));
  EXPECT_TRUE(world.chain().plugins()[1].entry.bypassed);
  world.place();
  world.wait(0.1);
  EXPECT_TRUE(world.chain().setBypassed(1, false));
  EXPECT_NEAR(settled(), 0.5f, 1e-4f);
  EXPECT_TRUE(world.chain().remove(0));
  EXPECT_TRUE(world.chain().remove(0));
  EXPECT_EQ(world.published.current(), nullptr);
  EXPECT_TRUE(PluginChainStore::scopes(world.settings).empty());
}

// Inside the program there is no delay; the values go along, there and back.
TEST_F(PluginChainTest, TrustMovesAChainWithItsStates) {
  world.place();
  world.add(kGain);
  world.chain().setControl(0, "gain", 6.0206f);
  world.wait(2);
  world.chain().setTrusted(true);
  world.wait(0.1);
  EXPECT_EQ(world.chain().latencyFrames(), 0);
  EXPECT_NEAR(world.render(0.25f), 0.5f, 1e-4f) << "the first block already";
  world.chain().setTrusted(false);
  world.wait(0.1);
  EXPECT_NEAR(settled(), 2.0f, 1e-3f);
}

TEST_F(PluginChainTest, AnotherRateMakesTheChainAnewWithItsState) {
  world.place(48000);
  world.add("urn:sonmere:delay");
  world.chain().setControl(0, "time", 0.015625f);
  world.wait(0.1);
  world.place(96000);
  EXPECT_EQ(
      world.lines.back(),
      "bus:2 chain: capture rate changed 48000.000000 → 96000.000000 Hz — re-instantiating 1 plugin(s)");
  world.wait(0.1);
  settled();
  world.wait(0.5);
  EXPECT_EQ(world.chain().plugins()[0].latencyFrames, 1500);
  EXPECT_FLOAT_EQ(world.chain().plugins()[0].values.at("time"), 0.015625f);
}

// Each step of the chain's build fails once, at the first call and at every later one: the sound is there,
// dry or through what could be made, the wish is kept, and the next change tries again.
TEST_F(PluginChainTest, AFailureAtAnyStepKeepsTheSoundAndTheWish) {
  for (const Operation operation :
       {Operation::effectDescribe, Operation::effectTest, Operation::effectInstantiate,
        Operation::effectState, Operation::effectHelperStart, Operation::effectHelperApply})
    for (std::uint64_t nth = 1; nth <= 3; ++nth) {
      SCOPED_TRACE(std::string(operationName(operation)) + " " + std::to_string(nth));
      EffectsWorld own;
      PluginChainStore::save(own.settings, own.scope,
                             {{kGain, "Gain", "Sonmere", false, std::nullopt, {{"gain", 6.0206f}}},
                              {"urn:sonmere:delay", "Delay", "Sonmere", false, std::nullopt, {}}});
      const auto wished = PluginChainStore::load(own.settings, own.scope);
      own.chains = std::make_unique<PluginChains>(own.runtime, own.log, own.settings, &own.host);
      own.faults.failNth(operation, nth, -7);
      own.place();
      own.wait(2);
      for (int i = 0; i < 4; ++i) own.render(1.0f);
      const float heard = own.render(1.0f);
      EXPECT_TRUE(std::abs(heard - 1) < 1e-6f || std::abs(heard - 2) < 1e-3f) << heard;
      EXPECT_EQ(PluginChainStore::load(own.settings, own.scope).size(), wished.size());
      own.faults.clear();
      own.chain().setControl(0, "gain", 0);
      own.chain().setBypassed(1, true);
      own.chain().move(0, 1);
      own.wait(2);
      EXPECT_EQ(own.chain().state(), PluginChain::State::running);
      for (const auto& plugin : own.chain().plugins()) EXPECT_EQ(plugin.problem, "");
      own.chains.reset();
      own.wait(1);
    }
}

// The process of a chain dies in the middle of a block: no block is without sound, one message names the
// plug-in, and it runs again with its last state. The fourth time in a minute it is bypassed.
TEST_F(PluginChainTest, ACrashIsHeardAsTheDrySoundAndStartedAgainThreeTimes) {
  world.place();
  world.add(kCrashing);
  world.chain().setControl(0, "gain", -6.0206f);
  world.wait(2);
  for (int crash = 1; crash <= 4; ++crash) {
    EXPECT_NEAR(settled(), 0.5f, 1e-4f);
    world.chain().setControl(0, "crash", 1);
    world.chain().setControl(0, "crash", 1);
    for (int block = 0; block < 3; ++block) {
      const float heard = world.render(1.0f);
      EXPECT_TRUE(std::abs(heard - 0.5f) < 1e-4f || heard == 1.0f) << heard;
    }
    EXPECT_EQ(world.render(1.0f), 1.0f);
    world.chain().setControl(0, "crash", 0);
    world.wait(1);
    EXPECT_EQ(world.error(), crash < 4 ? "\"Crashing\" on bus:2 has crashed (signal 11); it is started again"
                                       : "\"Crashing\" on bus:2 has crashed (signal 11); that was too often, "
                                         "and it is bypassed");
  }
  EXPECT_EQ(world.chain().state(), PluginChain::State::bypassed);
  EXPECT_EQ(settled(), 1.0f);
  world.chain().setBypassed(0, false);
  world.wait(0.1);
  EXPECT_NEAR(settled(), 0.5f, 1e-4f) << "whoever turns it on has it tried again";
}

// Of several plug-ins the one to blame is left out, and the others sound on.
TEST_F(PluginChainTest, OnlyThePluginToBlameIsLeftOut) {
  world.place();
  world.add(kGain);
  world.add(kCrashing);
  world.chain().setControl(0, "gain", 6.0206f);
  world.chain().setControl(1, "crash", 1);
  for (int i = 0; i < 200; ++i) {
    world.render(1.0f);
    world.wait(0.005);
  }
  EXPECT_TRUE(world.chain().plugins()[1].isFaulty);
  EXPECT_EQ(world.chain().state(), PluginChain::State::running);
  EXPECT_NEAR(settled(), 2.0f, 1e-3f);
}

TEST_F(PluginChainTest, APluginThatHangsIsGivenUpAndStartedAgain) {
  world.place();
  world.add("urn:sonmere:hanging");
  world.chain().setControl(0, "gain", -6.0206f);
  world.wait(0.1);
  EXPECT_NEAR(settled(), 0.5f, 1e-4f);
  world.chain().setControl(0, "hang", 1);
  world.render(1.0f);
  world.render(1.0f);
  EXPECT_EQ(world.render(1.0f), 1.0f);
  world.chain().setControl(0, "hang", 0);
  world.wait(1);
  EXPECT_EQ(world.error(), "\"Hanging\" on bus:2 does not answer; it is started again");
  EXPECT_NEAR(settled(), 0.5f, 1e-4f);
}

TEST_F(PluginChainTest, APluginThatFailsAgainAndAgainBypassesItselfAndIsTold) {
  world.place();
  world.add("urn:sonmere:failing");
  world.chain().setControl(0, "fail", 1);
  for (int i = 0; i < 110; ++i) world.render(1.0f);
  world.wait(1);
  EXPECT_TRUE(world.chain().plugins()[0].autoBypassed);
  EXPECT_EQ(world.error(), "\"Failing\" on bus:2 fails again and again and is bypassed");
  EXPECT_EQ(settled(), 1.0f);
}

// An allocation in a plug-in is another process's affair; inside the program the guard sees it.
TEST_F(PluginChainTest, OnlyATrustedPluginAllocatesInTheCallback) {
  world.place();
  world.add("urn:sonmere:allocating");
  world.chain().setControl(0, "allocate", 1);
  settled();
  EXPECT_REALTIME_SAFE(*guard);
  world.chain().setTrusted(true);
  world.wait(0.1);
  settled();
  if (RealtimeGuard::watchesMemoryAndLocks()) {
    EXPECT_GT(guard->violations().allocations, 0);
  }
  guard.reset();
  guard = std::make_unique<RealtimeGuard>();
}

TEST_F(PluginChainTest, ANewPluginIsTriedAndRefusedUntilItsFileChanges) {
  const auto refused = world.add("urn:sonmere:unclean");
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().description,
            "\"Unclean\" was refused when it was tried: it turns noise into what is no number");
  EXPECT_EQ(world.add("urn:sonmere:brittle").error().description,
            "\"Brittle\" was refused when it was tried: it crashes (signal 11)");
  EXPECT_EQ(world.faults.calls(Operation::effectTest), 2u);
  world.add("urn:sonmere:brittle");
  EXPECT_EQ(world.faults.calls(Operation::effectTest), 2u) << "what is known is not tried again";
  world.host.replaceFile("urn:sonmere:brittle");
  world.add("urn:sonmere:brittle");
  EXPECT_EQ(world.faults.calls(Operation::effectTest), 3u);
  EXPECT_EQ(world.add("urn:nobody").error().description, "there is no plug-in \"urn:nobody\"");
  EXPECT_TRUE(world.chain().plugins().empty());
}

// What can't be had now is left out, told, and kept; what sounds while its file goes sounds on.
TEST_F(PluginChainTest, WishesOutliveWhatTheyAreMadeOf) {
  PluginChainStore::save(
      world.settings, world.scope,
      {{"urn:gone", "Gone", "Nobody", false, "its state", {}},
       {kGain, "Gain", "Sonmere", false, R"({"version":9,"values":{}})", {}},
       {kGain, "Gain", "Sonmere", false, R"({"version":1,"values":{"gain":6.0206}})", {}}});
  world.chains = std::make_unique<PluginChains>(world.runtime, world.log, world.settings, &world.host);
  world.place();
  world.wait(0.1);
  EXPECT_NEAR(settled(), 2.0f, 1e-3f);
  EXPECT_EQ(world.chain().plugins()[0].problem, "there is no plug-in \"urn:gone\"");
  EXPECT_EQ(world.chain().plugins()[1].problem, "its state is of another version, or damaged");
  world.host.removeFile(kGain);
  EXPECT_NEAR(settled(), 2.0f, 1e-3f);
  world.chain().setControl(2, "gain", 0);
  world.wait(2);
  const auto kept = PluginChainStore::load(world.settings, world.scope);
  ASSERT_EQ(kept.size(), 3u);
  EXPECT_EQ(kept[0].fullState, "its state");
  EXPECT_EQ(kept[1].fullState, R"({"version":9,"values":{}})");
}

TEST_F(PluginChainTest, AFileThatLiesIsRefusedWhole) {
  const std::vector<PluginChainStore::Entry> chain{
      {kGain, "Gain", "Sonmere", true, std::string("\0state\xff", 7), {{"gain", -3.0f}}}};
  EXPECT_EQ(*PluginChainStore::readFile(PluginChainStore::fileText(chain)), chain);
  const auto fault = [](const std::string& text) {
    const auto read = PluginChainStore::readFile(text);
    return read ? "read" : read.error().description;
  };
  const auto file = [](const std::string& plugins) {
    return R"({"kind":"sonmere plug-in chain","version":1,"plugins":)" + plugins + "}";
  };
  EXPECT_EQ(fault("{"), "this is no plug-in chain");
  EXPECT_EQ(fault(R"({"kind":"sonmere plug-in chain","version":2})"),
            "this plug-in chain is of version 2, and this program reads version 1");
  EXPECT_EQ(fault(file("7")), "\"plugins\" must be a list of at most 64");
  EXPECT_EQ(fault(file(R"([{"id":"a"},{"name":"b"}])")), "plug-in 2 can't be read: it names no plug-in");
  EXPECT_EQ(fault(file(R"([{"id":7}])")), "plug-in 1 can't be read: its \"id\" is no text");
  EXPECT_EQ(fault(file(R"([{"id":"a","fullState":"%"}])")),
            "plug-in 1 can't be read: its \"fullState\" is not base64");
  EXPECT_EQ(fault(file(R"([{"id":"a","values":{"x":"y"}}])")),
            "plug-in 1 can't be read: its value \"x\" is no number");
  EXPECT_EQ(fault(file(R"([{"id":"a","bypassed":1}])")),
            "plug-in 1 can't be read: its \"bypassed\" is no true or false");
}

// A chain without a place is kept and does not run; the place that goes takes process and effects along.
TEST_F(PluginChainTest, AChainRunsOnlyWhereItSounds) {
  ASSERT_TRUE(world.add(kGain));
  world.wait(1);
  EXPECT_EQ(SimulatedEffect::living(), 0);
  world.place();
  world.wait(0.1);
  EXPECT_EQ(SimulatedEffect::living(), 1);
  world.noPlace();
  EXPECT_EQ(world.published.current(), nullptr);
  world.wait(1);
  EXPECT_EQ(SimulatedEffect::living(), 0);
  EXPECT_EQ(world.host.livingHelpers(), 0);
}

// What it holds, a tail or a delay, goes on sounding when its neighbours change.
TEST(ChainRunnerTest, APluginThatStaysIsNotMadeAnew) {
  int made = 0;
  ChainRunner runner([&](const std::string&, double rate, const std::string& state) {
    ++made;
    return SimulatedEffect::make(SimulatedEffect::Kind::gain, rate, state, nullptr);
  });
  ChainPlan plan{.sampleRate = 48000, .plugins = {{1, kGain, {}, {}}}};
  runner.apply(plan);
  plan.plugins.push_back({2, kGain, {}, {}});
  std::swap(plan.plugins[0], plan.plugins[1]);
  runner.apply(plan);
  EXPECT_EQ(made, 2);
  plan.sampleRate = 44100;
  runner.apply(plan);
  EXPECT_EQ(made, 4) << "at another rate both";
}

TEST(PluginScopeTest, ScopesHaveOneTextAndOneKey) {
  for (const auto& [text, key] : {std::pair{"mic", "__mic__"},
                                  {"app:org.music", "org.music"},
                                  {"bus:0", "__master__0"},
                                  {"bus:9", "__master__9"}}) {
    const auto scope = PluginScope::fromText(text);
    ASSERT_TRUE(scope) << text;
    EXPECT_EQ(scope->text(), text);
    EXPECT_EQ(scope->key(), key);
    EXPECT_EQ(PluginScope::fromKey(key), *scope);
  }
  for (const char* text : {"", "bus:", "bus:1", "bus:10", "bus:x", "app:", "Mic"})
    EXPECT_FALSE(PluginScope::fromText(text)) << text;
}

}  // namespace
}  // namespace sonmere
