#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "audio/file/AudioFileWriter.h"
#include "cli/CommandLine.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

namespace fs = std::filesystem;

// Commands on files, with settings and folders of their own.
class FileCommandTest : public testing::Test {
 protected:
  FileCommandTest() {
    for (const char* name :
         {"HOME", "XDG_CONFIG_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) {
      const char* value = std::getenv(name);
      saved.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
      setenv(name, folder.path().c_str(), 1);
    }
    setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
    fs::create_directory(takes);
  }
  ~FileCommandTest() override {
    for (const auto& [name, value] : saved) value ? setenv(name, value->c_str(), 1) : unsetenv(name);
    unsetenv("SONMERE_SETTINGS");
  }
  struct Run {
    int status;
    std::string out;
    std::string err;
  };
  Run run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "sonmere");
    std::vector<const char*> words;
    for (const std::string& argument : arguments) words.push_back(argument.c_str());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = runCommandLine(int(words.size()), words.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
  }
  nlohmann::json json(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    const Run result = run(std::move(arguments));
    EXPECT_EQ(result.status, 0) << result.err;
    return nlohmann::json::parse(result.out);
  }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  // One second at half of full scale.
  std::string make(const std::string& file, double sampleRate = 48000) {
    auto writer = createAudioFile(file, {.sampleRate = sampleRate, .channels = 2, .bitDepth = 24});
    PCMBuffer block((*writer)->processingFormat(), std::uint32_t(sampleRate));
    block.setFrameLength(std::uint32_t(sampleRate));
    for (std::uint32_t i = 0; i < block.frameLength(); ++i)
      block.channel(0)[i] = block.channel(1)[i] = i / 50 % 2 == 0 ? 0.5f : -0.5f;
    EXPECT_TRUE((*writer)->write(block) && (*writer)->close());
    return file;
  }
  std::string take(const std::string& name, const std::string& stamp = "2026-01-01 10-00-00") {
    return make(takes + "/" + name + " \u2014 " + stamp + ".wav");
  }
  // Takes the size of the audio away and makes the file an old one.
  static void interrupt(const std::string& file) {
    std::fstream bytes(file, std::ios::in | std::ios::out | std::ios::binary);
    std::string head(200, '\0');
    bytes.read(head.data(), 200);
    bytes.seekp(std::streamoff(head.find("data") + 4));
    bytes.write("\0\0\0\0", 4);
    bytes.close();
    fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(1));
  }

  TemporaryFolder folder;
  std::vector<std::pair<const char*, std::optional<std::string>>> saved;
  const std::string takes = (folder / "takes").string();
};

}  // namespace sonmere
