#include "control/PluginControl.h"

#include <gtest/gtest.h>

#include <fstream>

#include "base/VirtualRuntime.h"
#include "control/ControlError.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

struct PluginControlTest : testing::Test {
  PluginControlTest() {
    world.launch("org.music");
    world.app->startUp();
    world.runtime.advance(fromSeconds(1));
  }
  template <class Ask>
  Outcome<PluginChainState> wait(Ask ask) {
    std::optional<Outcome<PluginChainState>> answer;
    ask([&](Outcome<PluginChainState> got) { answer = std::move(got); });
    world.runtime.advance(fromSeconds(0.1));
    return answer.value_or(std::unexpected(Error{"Test", 0, "no answer"}));
  }
  Outcome<PluginChainState> add(const char* scope, const char* id, std::optional<int> position = {}) {
    return wait([&](auto done) { plugins.add(scope, id, position, done); });
  }
  Outcome<PluginChainState> set(const char* plugin, const char* control, const char* value) {
    return wait([&](auto done) { plugins.setControl("app:music", plugin, control, value, done); });
  }
  template <class T>
  static std::string complaint(const Outcome<T>& outcome, ControlFault fault) {
    if (outcome) return "it worked";
    EXPECT_EQ(outcome.error().code, std::int64_t(fault)) << outcome.error().description;
    return outcome.error().description;
  }

  AppWorld<VirtualRuntime> world{1};
  PluginControl plugins{world.start()};
};

TEST_F(PluginControlTest, ChainsAreEditedByScopeNumberAndName) {
  ASSERT_TRUE(add("app:Music", "urn:sonmere:gain"));
  const auto chain = add("app:org.music", "urn:sonmere:delay", 1);
  ASSERT_TRUE(chain) << chain.error().description;
  EXPECT_EQ(chain->scope, "app:org.music");
  EXPECT_EQ(chain->plugins[0].entry.name, "Delay");
  EXPECT_EQ(set("gain", "Gain", "-3.5")->plugins[1].entry.values.at("gain"), -3.5f);
  EXPECT_TRUE(plugins.setBypassed("app:music", "1", true)->plugins[0].entry.bypassed);
  EXPECT_EQ(plugins.move("app:music", "del", 2)->plugins[1].entry.name, "Delay");
  const auto half = wait([&](auto done) { plugins.setPreset("app:music", "1", "half", done); });
  ASSERT_TRUE(half) << half.error().description;
  EXPECT_TRUE(half->plugins[0].entry.fullState);
  EXPECT_TRUE(plugins.setTrusted("app:music", true)->isTrusted);

  const std::string path = (world.folder / "chain.json").string();
  ASSERT_TRUE(wait([&](auto done) { plugins.save("app:music", path, done); }));
  EXPECT_EQ(plugins.load("bus:3", path)->plugins.size(), 2u);
  EXPECT_EQ(plugins.overview().chains.size(), 2u);
  EXPECT_EQ(plugins.remove("bus:3", "2")->plugins.size(), 1u);
}

// What has to be looked up first is done to the plug-in that was meant, wherever it stands by then.
TEST_F(PluginControlTest, AChainThatChangesMeanwhileTakesNothingMeantForAnother) {
  ASSERT_TRUE(add("app:music", "urn:sonmere:delay"));
  ASSERT_TRUE(add("app:music", "urn:sonmere:gain"));
  const auto moved = wait([&](auto done) {
    plugins.setPreset("app:music", "2", "half", done);
    EXPECT_TRUE(plugins.move("app:music", "2", 1));
  });
  ASSERT_TRUE(moved);
  EXPECT_TRUE(moved->plugins[0].entry.fullState) << moved->plugins[0].entry.name;
  EXPECT_FALSE(moved->plugins[1].entry.fullState);
  const auto gone = wait([&](auto done) {
    plugins.setPreset("app:music", "1", "half", done);
    EXPECT_TRUE(plugins.remove("app:music", "1"));
  });
  EXPECT_EQ(complaint(gone, ControlFault::notFound), "the plug-in is in the chain of app:org.music no more");
  EXPECT_FALSE(plugins.chain("app:music")->plugins[0].entry.fullState);
}

TEST_F(PluginControlTest, WhatCantBeDoneIsSaidAndChangesNothing) {
  ASSERT_TRUE(add("app:music", "urn:sonmere:gain"));
  ASSERT_TRUE(add("app:music", "urn:sonmere:gain"));
  EXPECT_EQ(complaint(plugins.chain("everything"), ControlFault::badValue),
            "\"everything\" is no scope; use mic, app:ID, or bus:N with N 0 or 2 to 9");
  complaint(plugins.chain("app:nobody"), ControlFault::notFound);
  EXPECT_EQ(plugins.chain("app:org.nobody")->plugins.size(), 0u)
      << "an app that does not run has a chain too";
  EXPECT_EQ(complaint(plugins.remove("app:music", "gain"), ControlFault::ambiguous),
            "2 of the 2 plug-ins on app:org.music fit \"gain\"; name one by its number");
  complaint(plugins.remove("app:music", "3"), ControlFault::notFound);
  complaint(plugins.move("app:music", "1", 3), ControlFault::badValue);
  EXPECT_EQ(complaint(set("1", "gain", "25"), ControlFault::badValue),
            "\"gain\" takes -90 to 24 dB, not \"25\"");
  complaint(set("1", "gain", "nan"), ControlFault::badValue);
  complaint(set("1", "loudness", "1"), ControlFault::notFound);
  EXPECT_EQ(complaint(add("bus:2", "urn:nobody"), ControlFault::failed),
            "there is no plug-in \"urn:nobody\"");
  EXPECT_TRUE(complaint(add("bus:2", "urn:sonmere:unclean"), ControlFault::failed).find("was refused") !=
              std::string::npos);
  const std::string path = (world.folder / "lie.json").string();
  complaint(plugins.load("app:music", path), ControlFault::failed);
  std::ofstream(path) << "{}";
  EXPECT_EQ(complaint(plugins.load("app:music", path), ControlFault::badValue),
            path + ": this is no plug-in chain");
  complaint(wait([&](auto done) { plugins.save("app:music", "relative", done); }), ControlFault::badValue);
  EXPECT_EQ(plugins.chain("app:music")->plugins.size(), 2u);
}

}  // namespace
}  // namespace sonmere
