#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "audio/file/AudioFileWriter.h"
#include "cli/CommandLine.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

// One line of data/bad-input.txt: the exit status, the arguments as a shell takes them, and what the message
// says, with tabs between. $D is a folder with good.wav, text.wav, empty.wav and the folder takes.
struct BadInput {
  int status = 0;
  std::vector<std::string> words;
  std::string message;
  std::string line;
};

std::string withFolder(std::string text, const std::string& folder) {
  for (std::size_t at; (at = text.find("$D")) != std::string::npos;) text.replace(at, 2, folder);
  return text;
}

// Blanks part words, double quotes hold them together.
std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words;
  bool isQuoted = false, isBegun = false;
  for (const char c : text) {
    if (c == '"') {
      isQuoted = !isQuoted;
      if (!isBegun) words.emplace_back();
      isBegun = true;
    } else if (c == ' ' && !isQuoted) {
      isBegun = false;
    } else {
      if (!isBegun) words.emplace_back();
      isBegun = true;
      words.back() += c;
    }
  }
  return words;
}

class BadInputTest : public testing::Test {
 protected:
  BadInputTest() {
    for (const char* name : {"cwd", "takes"}) fs::create_directory(path(name));
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR", "HOME", "XDG_MUSIC_DIR"})
      setenv(name, path(name).c_str(), 1);
    fs::create_directory(path("XDG_RUNTIME_DIR"));
    fs::permissions(path("XDG_RUNTIME_DIR"), fs::perms::owner_all);
    setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
    std::ofstream(path("text.wav")) << "this is no audio";
    makeFile("empty.wav", 0);
    makeFile("good.wav", 48000);
    before_ = fs::current_path();
    fs::current_path(path("cwd"));
  }
  ~BadInputTest() override {
    fs::current_path(before_);
    unsetenv("SONMERE_SETTINGS");
  }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  void makeFile(const std::string& name, std::uint32_t frames) {
    auto file = createAudioFile(path(name), {.sampleRate = 48000, .channels = 2, .bitDepth = 16});
    PCMBuffer block((*file)->processingFormat(), 48000);
    block.setFrameLength(frames);
    EXPECT_TRUE(frames == 0 || (*file)->write(block));
    EXPECT_TRUE((*file)->close());
  }
  std::vector<BadInput> all() const {
    std::vector<BadInput> found;
    std::ifstream file(SONMERE_SOURCE_DIR "/tests/cli/data/bad-input.txt");
    const std::string where = folder.path().string();
    for (std::string line; std::getline(file, line);) {
      const auto first = line.find('\t'), second = line.find('\t', first + 1);
      found.push_back({std::stoi(line),
                       wordsOf(withFolder(line.substr(first + 1, second - first - 1), where)),
                       withFolder(line.substr(second + 1), where), line});
    }
    return found;
  }
  // What stands in the folders, but for the program's own state.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(path("")))
      if (!std::ranges::any_of(std::array{"XDG_STATE_HOME", "XDG_RUNTIME_DIR"}, [&](const char* own) {
            return entry.path().string().find(own) != std::string::npos;
          }))
        names.push_back(entry.path());
    std::ranges::sort(names);
    return names;
  }

  TemporaryFolder folder;
  fs::path before_;
};

TEST_F(BadInputTest, EachIsOneLineThatNamesTheThingAndLeavesNothing) {
  const auto cases = all();
  ASSERT_GT(cases.size(), 300u);
  const auto untouched = files();
  for (const BadInput& input : cases) {
    std::vector<const char*> arguments = {"sonmere"};
    for (const std::string& word : input.words) arguments.push_back(word.c_str());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = runCommandLine(int(arguments.size()), arguments.data());
    const std::string out = testing::internal::GetCapturedStdout(),
                      err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(status, input.status) << input.line << "\n" << err;
    EXPECT_EQ(out, "") << input.line;
    EXPECT_NE(err.find(input.message), std::string::npos) << input.line << "\n" << err;
    EXPECT_TRUE(err.starts_with("sonmere") || err.starts_with("{")) << input.line << "\n" << err;
    EXPECT_EQ(err.find('\n'), err.size() - 1) << input.line << "\n" << err;
    for (const char* internal : {"std::", "CLI::", "basic_string", "json.exception", "errno", "JSON-RPC",
                                 ".cpp", "TEXT", "The following argument"})
      EXPECT_EQ(err.find(internal), std::string::npos) << input.line << "\n" << err;
  }
  EXPECT_EQ(files(), untouched);
}

}  // namespace
}  // namespace sonmere
