// A session of separate tracks on a real server, by commands as a user gives them: real players, a microphone
// that hears one of them, a mark and a name; the files as other programs read them.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "Impulses.h"
#include "ProgramWorld.h"
#include "audio/file/AudioFileReader.h"

namespace sonmere {

namespace {

constexpr int kQuantum = 256;

struct LayoutStory : testing::Test {
  void SetUp() override {
    ASSERT_EQ(world.session.problem(), "");
    ASSERT_TRUE(world.platform.waitUntilReady(PipeWireWorld::kPatience));
  }
  std::string sonmere(const std::vector<std::string>& arguments) {
    return world.session.run(world.command(arguments));
  }
  nlohmann::json asked(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    return nlohmann::json::parse(sonmere(arguments), nullptr, false);
  }
  double recordedSeconds() {
    const auto status = asked({"record", "status"});
    double least = 1e9;
    for (const auto& each : status.value("recordings", nlohmann::json::array()))
      least = std::min(least, each.value("frames", 0.0) / 48000);
    return least == 1e9 ? 0 : least;
  }
  // What another program says of a file, on one line.
  std::string probe(const std::string& path, const std::string& entries) {
    return world.session.run({"ffprobe", "-v", "error", "-show_entries", entries, "-of", "csv=p=0", path});
  }

  ProgramWorld world;
};

// The first loud frame from there on; below 0: none.
std::ptrdiff_t firstImpulse(const std::string& path, std::size_t from) {
  const auto reader = openAudioFile(path);
  if (!reader) return -1;
  const std::uint32_t channels = (*reader)->format().channels;
  std::vector<float> block(std::size_t(channels) * 4096);
  std::ptrdiff_t at = 0;
  while (const auto count = (*reader)->read(block.data(), 4096).value_or(0))
    for (std::uint32_t i = 0; i < count; ++i, ++at)
      if (at >= std::ptrdiff_t(from) && std::abs(block[std::size_t(i) * channels]) > 0.2f) return at;
  return -1;
}

}  // namespace

TEST_F(LayoutStory, ASeparateSessionIsThreeFilesInStepWithAMarkAndAName) {
  impulseSignal().write(world.session.file("impulses.wav"));
  // One stream is heard by the microphone and by the speaker.
  world.player = world.session.launch({"pw-play", world.session.file("impulses.wav")});
  ASSERT_TRUE(world.until([&] { return world.isHome(); }));
  for (const char* side : {"FL", "FR"})
    world.session.run(
        {"pw-link", std::string("pw-play:output_") + side, std::string("fake.mic.feed:playback_") + side});
  auto second = world.session.launch({"mpv", "--no-config", "--no-video", "--really-quiet", "--ao=pulse",
                                      "--volume=1", world.session.file("impulses.wav")});
  world.program = world.session.launch(world.command({"run", "--platform", "pipewire", "--for", "200"}));
  ASSERT_TRUE(world.until([&] { return asked({"status"}).contains("version"); }))
      << world.session.programLog();
  sonmere({"mic", "select", "fake.mic"});
  sonmere({"mic", "on"});
  ASSERT_TRUE(world.until([&] {
    return asked({"mic", "status"}).dump().contains("\"running\":true");
  })) << sonmere({"mic", "status"});

  const std::string folder = world.session.file("takes");
  const auto begun =
      asked({"record", "start", "--layout", "separate", "--folder", folder, "--depth", "float32"});
  ASSERT_TRUE(begun.contains("recordings")) << begun << world.session.programLog();
  ASSERT_EQ(begun["recordings"].size(), 3u) << begun;
  ASSERT_TRUE(world.until([&] { return recordedSeconds() > 1.5; }));
  const auto marked = asked({"record", "mark", "hello"});
  ASSERT_TRUE(world.until([&] { return recordedSeconds() > 3; }));
  const auto stopped = asked({"record", "stop", "--name", "take"});

  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    files[name.substr(0, name.find(" \u2014 "))] = entry.path().string();
  }
  ASSERT_EQ(files.size(), 3u) << stopped;
  ASSERT_TRUE(files.contains("take") && files.contains("Sonmere Mic") && files.contains("Sonmere Apps"));
  for (const auto& [name, path] : files) {
    EXPECT_EQ(probe(path, "stream=sample_rate,channels"),
              std::string("48000,") + (name == "Sonmere Mic" ? "1\n" : "2\n"))
        << name;
    EXPECT_EQ(probe(path, "format_tags=time_reference"), probe(files["take"], "format_tags=time_reference"));
    const auto info = asked({"info", path})["files"][0];
    ASSERT_EQ(info["marks"].size(), 1u) << name;
    EXPECT_EQ(info["marks"][0]["text"], "hello");
    EXPECT_NEAR(info["marks"][0]["seconds"].get<double>(), marked["marks"][0]["seconds"].get<double>(), 0.01);
    EXPECT_GT(std::stod("0" + world.session.run({"sox", "--i", "-D", path})), 2.5) << name;
  }
  const std::size_t from = 48000;
  const std::ptrdiff_t apps = firstImpulse(files["Sonmere Apps"], from);
  ASSERT_GT(apps, 0);
  const std::ptrdiff_t mic = firstImpulse(files["Sonmere Mic"], std::size_t(apps) - kImpulseDistance / 2);
  std::printf("impulse in the microphone's file %td frames after that in the apps'\n", mic - apps);
  EXPECT_LE(std::abs(mic - apps), kQuantum) << mic << " " << apps;
}

}  // namespace sonmere
