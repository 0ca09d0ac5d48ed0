#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "audio/file/AudioFileReader.h"
#include "audio/file/AudioFileWriter.h"
#include "cli/CommandLine.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

class CommandLineTest : public testing::Test {
 protected:
  struct Run {
    int status;
    std::string out;
    std::string err;
  };
  Run run(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), "sonmere");
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = runCommandLine(int(arguments.size()), arguments.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
  }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  // Two seconds of a constant.
  std::string makeFile(const std::string& name) {
    auto file = createAudioFile(path(name), {.sampleRate = 48000, .channels = 2, .bitDepth = 16});
    PCMBuffer block((*file)->processingFormat(), 96000);
    block.setFrameLength(96000);
    for (std::uint32_t i = 0; i < 96000; ++i) block.channel(0)[i] = block.channel(1)[i] = 0.25f;
    EXPECT_TRUE((*file)->write(block));
    EXPECT_TRUE((*file)->close());
    return path(name);
  }
  static bool isOneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
  }

  TemporaryFolder folder;
};

TEST_F(CommandLineTest, TheDemoWritesFilesAndSaysWhatIsInThem) {
  const std::string app = "a=" + makeFile("in.wav"), out = path("out");
  const auto result = run({"demo", "--app", app.c_str(), "--route", "a=3", "--volume", "a=2", "--seconds",
                           "5", "--out", out.c_str(), "--depth", "float32", "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  ASSERT_EQ(report["files"].size(), 1u);
  const auto file = report["files"][0];
  EXPECT_EQ(file["bus"], 3);
  EXPECT_EQ(file["format"], "wav");
  EXPECT_EQ(file["bitDepth"], "float32");
  EXPECT_EQ(file["sampleRate"], 48000);
  EXPECT_NEAR(file["peak"], 0.5, 1e-6);
  EXPECT_NEAR(double(file["frames"]), 5 * 48000, 2048);
  EXPECT_EQ(report["apps"][0]["id"], "a");
  EXPECT_EQ(report["apps"][0]["bus"], 3);
  auto reader = openAudioFile(std::string(file["path"]));
  ASSERT_TRUE(reader);
  EXPECT_EQ((*reader)->frameCount(), std::int64_t(file["frames"]));
}

TEST_F(CommandLineTest, TheSameSeedGivesTheSameFilesAndOutput) {
  const std::string app = "a=" + makeFile("in.wav"), first = path("1"), second = path("2");
  std::string texts[2];
  for (const auto& [out, text] : {std::tie(first, texts[0]), std::tie(second, texts[1])}) {
    text = run({"demo", "--app", app.c_str(), "--seconds", "3", "--seed", "9", "--out", out.c_str()}).out;
    std::string name;
    for (const auto& entry : std::filesystem::directory_iterator(out)) name = entry.path().string();
    std::ifstream file(name, std::ios::binary);
    text = text.substr(0, text.find("/")) + std::string(std::istreambuf_iterator(file), {});
  }
  EXPECT_EQ(texts[0], texts[1]);
}

TEST_F(CommandLineTest, BadInputIsOneLineAndStatus2AndLeavesNothing) {
  std::ofstream(path("text.wav")) << "this is no audio";
  std::ofstream(path("plain")) << "a file";
  const std::string missing = "a=" + path("missing.wav"), text = "a=" + path("text.wav"),
                    good = "a=" + makeFile("g.wav");
  const std::string out = path("out"), inFile = path("plain/out");
  const std::vector<std::pair<std::vector<const char*>, std::string>> cases = {
      {{"demo", "--app", missing.c_str(), "--out", out.c_str()}, path("missing.wav")},
      {{"demo", "--app", text.c_str(), "--out", out.c_str()}, path("text.wav")},
      {{"demo", "--app", good.c_str(), "--route", "a=1", "--out", out.c_str()}, "bus 1"},
      {{"demo", "--app", good.c_str(), "--volume", "a=-2", "--out", out.c_str()}, "-2"},
      {{"demo", "--app", good.c_str(), "--out", inFile.c_str()}, path("plain")},
      {{"demo", "--nonsense"}, "--nonsense"},
      {{"nonsense"}, "nonsense"},
      {{"settings"}, "subcommand"},
  };
  for (const auto& [arguments, named] : cases) {
    const auto result = run(arguments);
    EXPECT_EQ(result.status, 2) << named;
    EXPECT_TRUE(isOneLine(result.err)) << result.err;
    EXPECT_NE(result.err.find(named), std::string::npos) << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(std::filesystem::exists(out)) << named;
  }
}

TEST_F(CommandLineTest, SettingsAreReadChangedAndListed) {
  setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
  EXPECT_EQ(run({"settings", "list"}).out, "");
  EXPECT_EQ(run({"settings", "set", "sonmere.boostAllowed", "false"}).status, 0);
  EXPECT_EQ(run({"settings", "set", "name", "plain words"}).status, 0);
  EXPECT_EQ(run({"settings", "set", "record", R"({"a":1})", "--data"}).status, 0);
  EXPECT_EQ(run({"settings", "get", "sonmere.boostAllowed"}).out, "false\n");
  EXPECT_EQ(run({"settings", "get", "name"}).out, "plain words\n");
  EXPECT_EQ(run({"settings", "get", "record"}).out, "{\"a\":1}\n");
  EXPECT_EQ(run({"settings", "list"}).out.substr(0, 22), "name = \"plain words\"\nr");
  EXPECT_EQ(nlohmann::json::parse(run({"settings", "list", "--json"}).out)["sonmere.boostAllowed"], false);
  EXPECT_EQ(run({"settings", "delete", "name"}).status, 0);
  const auto gone = run({"settings", "get", "name"});
  EXPECT_EQ(gone.status, 1);
  EXPECT_TRUE(isOneLine(gone.err));
  unsetenv("SONMERE_SETTINGS");
}

TEST_F(CommandLineTest, HelpAndVersionGoToStandardOutput) {
  EXPECT_EQ(run({"--version"}).out.substr(0, 8), "sonmere ");
  EXPECT_NE(run({"demo", "--help"}).out.find("--route"), std::string::npos);
  const auto bare = run({});
  EXPECT_EQ(bare.status, 0);
  EXPECT_NE(bare.out.find("demo"), std::string::npos);
}

}  // namespace
}  // namespace sonmere
