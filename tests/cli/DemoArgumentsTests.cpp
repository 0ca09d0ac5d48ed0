#include <gtest/gtest.h>

#include <filesystem>

#include "cli/DemoArguments.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

// The one line that the user gets, or "" where the arguments are fine.
std::string complaint(const DemoArguments& arguments) {
  const auto request = parseDemo(arguments);
  return request ? "" : request.error().description;
}

DemoArguments twoApps() {
  DemoArguments arguments;
  arguments.apps = {"a=x.flac", "b=/tmp/y=z.wav"};
  return arguments;
}

TEST(DemoArguments, MeanWhatTheySay) {
  auto arguments = twoApps();
  arguments.routes = {"a=3", "b=off"};
  arguments.volumes = {"a=2", "b=0.5"};
  arguments.equalisers = {"a=hp:120,bell:1000:-6:2,lp:9000"};
  arguments.limits = {"b=-3"};
  arguments.seconds = "2.5";
  arguments.depth = "float32";
  arguments.seed = "18446744073709551615";
  arguments.folder = "out";
  const auto request = parseDemo(arguments);
  ASSERT_TRUE(request) << request.error().description;
  const auto& [first, second] = std::tie(request->options.apps[0], request->options.apps[1]);
  EXPECT_EQ(first.file, "x.flac");
  EXPECT_EQ(second.file, "/tmp/y=z.wav");
  EXPECT_EQ(first.bus, 3);
  EXPECT_FALSE(second.bus);
  EXPECT_EQ(first.volume, 2);
  EXPECT_EQ(*first.equaliser, (AppEQSettings{true, 120, 9000, 1000, -6, 2}));
  EXPECT_EQ(second.ceilingDb, -3);
  EXPECT_EQ(request->options.seconds, 2.5);
  EXPECT_EQ(request->options.bitDepth, RecordingBitDepth::float32);
  EXPECT_EQ(request->seed, ~std::uint64_t(0));
  EXPECT_TRUE(request->options.folder.starts_with("/"));
}

TEST(DemoArguments, PluginsNameTheirScopeAndValues) {
  auto arguments = twoApps();
  arguments.plugins = {"app:a=urn:x,gain=-6,mode=soft", "bus:track2=http://y/z#1"};
  const auto request = parseDemo(arguments);
  ASSERT_TRUE(request) << request.error().description;
  const auto& plugins = request->options.plugins;
  ASSERT_EQ(plugins.size(), 2u);
  EXPECT_EQ(plugins[0].scope, PluginScope::ofApp("a"));
  EXPECT_EQ(plugins[0].id, "urn:x");
  EXPECT_EQ(plugins[0].values[1], (std::pair<std::string, std::string>{"mode", "soft"}));
  EXPECT_EQ(plugins[1].scope, PluginScope::ofBus(3));
  EXPECT_EQ(plugins[1].id, "http://y/z#1");
  for (const char* bad : {"app:c=urn:x", "urn:x", "bus:1=urn:x", "app:a=urn:x,gain", "microphone=urn:x"}) {
    arguments.plugins = {bad};
    EXPECT_TRUE(complaint(arguments).starts_with("--plugin ")) << complaint(arguments);
  }
}

TEST(DemoArguments, WhatIsMonitoredIsThereToBeHeard) {
  auto arguments = twoApps();
  arguments.monitored = {"app:a", "bus:track1=-6dB"};
  const auto request = parseDemo(arguments);
  ASSERT_TRUE(request) << request.error().description;
  EXPECT_EQ(request->options.monitored[0].scope, PluginScope::ofApp("a"));
  EXPECT_FALSE(request->options.monitored[0].volume);
  EXPECT_EQ(request->options.monitored[1].scope, PluginScope::ofBus(2));
  EXPECT_NEAR(request->options.monitored[1].volume.value_or(0), 0.501f, 0.001f);
  arguments.routes = {"b=off"};
  for (const char* bad : {"app:c", "app:b", "mic", "bus:1", "app:a=+5%", "", "a"}) {
    arguments.monitored = {bad};
    EXPECT_TRUE(complaint(arguments).starts_with("--monitor ")) << complaint(arguments);
  }
}

TEST(DemoArguments, ADeviceOfAnAppHasTheChannelsThatAreGiven) {
  auto arguments = twoApps();
  arguments.outputs = {"a=headset", "b=Studio Interface:8/3"};
  const auto request = parseDemo(arguments);
  ASSERT_TRUE(request) << request.error().description;
  EXPECT_EQ(request->options.apps[0].output, (OutputWish{"USBHeadset", 0, 1}));
  EXPECT_EQ(request->options.apps[1].output, (OutputWish{"DemoInterface", 7, 2}));
  arguments.routes = {"b=off"};
  for (const char* bad : {"a=headset:2/3", "a=interface:3/3", "a=interface:0/1", "a=radio", "b=headset",
                          "c=headset", "a=", "a=headset:1/", "a=:1/2"}) {
    arguments.outputs = {bad};
    EXPECT_TRUE(complaint(arguments).starts_with("--output ")) << complaint(arguments);
  }
}

TEST(DemoArguments, EveryAppHasATrackOfItsOwnUnlessToldOtherwise) {
  DemoArguments arguments;
  for (int i = 0; i < 9; ++i) arguments.apps.push_back(std::string(1, char('a' + i)) + "=f.wav");
  const auto request = parseDemo(arguments);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->options.apps[0].bus, 2);
  EXPECT_EQ(request->options.apps[7].bus, 9);
  EXPECT_EQ(request->options.apps[8].bus, 2);
}

TEST(DemoArguments, ValuesBeyondTheirRangesAreHeldAndTold) {
  auto arguments = twoApps();
  arguments.volumes = {"a=900%"};
  arguments.limits = {"a=-20dB"};
  arguments.equalisers = {"a=hp:10,bell:1000:60:1"};
  const auto request = parseDemo(arguments);
  ASSERT_TRUE(request);
  EXPECT_EQ(request->options.apps[0].volume, 4);
  EXPECT_EQ(request->options.apps[0].ceilingDb, -12);
  EXPECT_EQ(request->options.apps[0].equaliser->highPassFreq, 20);
  EXPECT_EQ(request->notes,
            (std::vector<std::string>{"--volume a=900%: held to 400 %, the largest volume",
                                      "--eq a=hp:10,bell:1000:60:1: high-pass frequency held to 20 Hz",
                                      "--eq a=hp:10,bell:1000:60:1: bell gain held to 24 dB",
                                      "--limit a=-20dB: limiter ceiling held to -12 dB"}));
}

TEST(DemoArguments, WhatIsSaidTwiceIsRefusedAndNotReplaced) {
  using A = DemoArguments;
  const std::pair<std::vector<std::string> A::*, std::vector<std::string>> cases[] = {
      {&A::routes, {"a=2", "a=3"}},
      {&A::volumes, {"a=1", "a=1"}},
      {&A::equalisers, {"a=hp:100", "a=lp:9000"}},
      {&A::limits, {"a=-1", "a=-2"}}};
  for (const auto& [member, values] : cases) {
    auto arguments = twoApps();
    arguments.*member = values;
    EXPECT_NE(complaint(arguments).find(values[1] + ": given twice"), std::string::npos) << values[1];
  }
  auto arguments = twoApps();
  arguments.equalisers = {"a=hp:100,hp:200"};
  EXPECT_EQ(complaint(arguments), "--eq a=hp:100,hp:200: the section \"hp\" is given twice");
}

TEST(DemoArguments, AnIDThatCanGetNoRowIsRefused) {
  for (const char* id : {"a.helper", "com.x.Player.helper.gpu", "com.sonmere.ToneFerry",
                         "com.apple.assistantd", "com.apple.sirittsd", "com.apple.systemsoundserverd",
                         "com.apple.WebKit.GPU", "__master__", "", "a\nb", "a\x7f", "\xff"}) {
    DemoArguments arguments;
    arguments.apps = {std::string(id) + "=x.wav"};
    const std::string text = complaint(arguments);
    EXPECT_TRUE(text.starts_with("--app ")) << id << ": " << text;
  }
}

TEST(DemoArguments, AFolderThatCantBeNamedIsRefused) {
  auto arguments = twoApps();
  arguments.folder = "";
  EXPECT_EQ(complaint(arguments), "--out: the folder's name is empty");
  arguments.folder = "/tmp/\xff";
  EXPECT_EQ(complaint(arguments), "");
  arguments.json = true;
  EXPECT_EQ(complaint(arguments), "--json: the folder /tmp/\xff is not UTF-8");

  const auto before = std::filesystem::current_path();
  {
    const TemporaryFolder gone;
    std::filesystem::current_path(gone.path());
  }
  const std::string text = complaint(twoApps());
  std::filesystem::current_path(before);
  EXPECT_TRUE(text.starts_with("--out sonmere-demo: the current folder can't be found")) << text;
}

TEST(DemoArguments, WhatIsWrongIsNamed) {
  const auto with = [](auto member, const char* value) {
    auto arguments = twoApps();
    (arguments.*member) = {value};
    return complaint(arguments);
  };
  using A = DemoArguments;
  EXPECT_EQ(with(&A::routes, "a=1"),
            "--route a=1: bus 1 is the internal mic bus; use bridge, track1 to track8, or a name that you "
            "gave a Track, or off");
  EXPECT_EQ(with(&A::routes, "a=10"),
            "--route a=10: \"10\" is not a bus; use bridge, track1 to track8, or a name that you gave a "
            "Track, or off");
  for (const char* bus : {"a=x", "a=2.5", "a=-1", "a=1e9", "a=nan", "a=2 "})
    EXPECT_NE(with(&A::routes, bus), "") << bus;
  EXPECT_EQ(with(&A::routes, "c=2"), "--route c=2: there is no app \"c\"");
  EXPECT_EQ(with(&A::routes, "a"), "--route a: expected ID=BUS");
  for (const char* gain : {"a=-1", "a=loud", "a=inf", "a=1x", "a=9", "a=+5%"})
    EXPECT_NE(with(&A::volumes, gain), "") << gain;
  EXPECT_EQ(with(&A::volumes, "a=-1"),
            "--volume a=-1: \"-1\" has no unit; a step is +1% or 1%-, a level in decibels -1dB");
  for (const char* eq : {"a=hp", "a=hp:x", "a=bell:1000:6", "a=hp:100,,lp:9000", "a=x:1"})
    EXPECT_NE(with(&A::equalisers, eq), "") << eq;
  for (const char* limit : {"a=x", "a=dB", "a=3%"}) EXPECT_NE(with(&A::limits, limit), "") << limit;
  EXPECT_EQ(with(&A::apps, "noequals"), "--app noequals: expected ID=FILE");
  auto twice = twoApps();
  twice.apps.push_back("a=z");
  EXPECT_EQ(complaint(twice), "--app a=z: the app \"a\" is named twice");
  for (const char* seconds : {"0", "-1", "x", "1e9"}) EXPECT_NE(with(&A::seconds, seconds), "") << seconds;
  EXPECT_EQ(with(&A::depth, "int8"), "--depth int8: use int16, int24 or float32");
  for (const char* seed : {"-1", "x", "1.5", ""}) EXPECT_NE(with(&A::seed, seed), "") << seed;
}

}  // namespace
}  // namespace sonmere
