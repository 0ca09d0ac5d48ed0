#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <regex>

#include "audio/device/BusTable.h"
#include "base/AtomicFile.h"
#include "platform/desktop/DriverDropIns.h"
#include "support/TemporaryFolder.h"

namespace sonmere {

// The drop-in is written by hand, the program looks for the devices by name.
TEST(DriverDropIn, EachBusHasASinkAndASourceOfItsName) {
  const auto text = readWholeFile(SONMERE_SOURCE_DIR "/resources/driver/pipewire.conf.d/60-sonmere.conf");
  ASSERT_TRUE(text);
  std::map<std::string, std::vector<std::string>> classesByName;
  const std::regex node(R"re((capture|playback)\.props +=.*node\.name = "([^"]*)".*media\.class = (\S+))re");
  for (std::sregex_iterator at(text->begin(), text->end(), node), end; at != end; ++at)
    classesByName[(*at)[2]].push_back((*at)[1].str() + " " + (*at)[3].str());
  EXPECT_EQ(classesByName.size(), kBusUIDs.size());
  const std::vector<std::string> pair = {"capture Audio/Sink", "playback Audio/Source"};
  for (const std::string_view uid : kBusUIDs) EXPECT_EQ(classesByName[std::string(uid)], pair) << uid;
}

namespace {

namespace fs = std::filesystem;
using State = DriverOnDisk::State;

struct DriverDropInsTest : testing::Test {
  DriverDropIns driver(const std::string& version = "2.0", DriverDropIns::BeforeStep before = {}) const {
    return DriverDropIns({SONMERE_SOURCE_DIR "/resources/driver", config.string(), version},
                         std::move(before));
  }
  fs::path devices() const { return config / "pipewire/pipewire.conf.d/60-sonmere.conf"; }
  static std::string read(const fs::path& path) { return readWholeFile(path).value_or("?"); }
  static void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  // Every file and folder below the configurations, with its content.
  std::map<std::string, std::string> tree() const {
    std::map<std::string, std::string> all;
    for (const auto& entry : fs::recursive_directory_iterator(config))
      all[fs::relative(entry.path(), config)] = entry.is_regular_file() ? read(entry.path()) : "/";
    return all;
  }
  TemporaryFolder folder;
  const fs::path config = [this] {
    fs::create_directory(folder / "config");
    return folder / "config";
  }();
};

TEST_F(DriverDropInsTest, WhatIsInstalledIsKnownByItsVersionAndGoesWithoutATrace) {
  write(config / "pipewire/pipewire.conf.d/10-mine.conf", "mine");
  const auto before = tree();
  EXPECT_EQ(driver().look().state, State::absent);
  EXPECT_TRUE(driver("1.0").install()->isChanged);
  EXPECT_EQ(driver("1.0").look().state, State::whole);
  EXPECT_EQ(driver("1.0").look().installedVersion, "1.0");
  EXPECT_FALSE(driver("1.0").install()->isChanged);
  EXPECT_EQ(driver("2.0").look().state, State::whole) << "the same files";

  fs::remove(config / "wireplumber/scripts/sonmere.lua");
  EXPECT_EQ(driver().look().state, State::partial);
  EXPECT_TRUE(driver().install()->notes.empty());
  EXPECT_EQ(driver().look().state, State::whole);
  EXPECT_TRUE(driver().remove()->isChanged);
  EXPECT_EQ(tree(), before);
  EXPECT_FALSE(driver().remove()->isChanged);
}

TEST_F(DriverDropInsTest, AnOldOneIsReplacedAndAnEditedOneIsKeptBeside) {
  ASSERT_TRUE(driver("1.0").install());
  // As another version would have written it.
  const fs::path bundle = folder / "older";
  fs::copy(SONMERE_SOURCE_DIR "/resources/driver", bundle, fs::copy_options::recursive);
  write(bundle / "pipewire.conf.d/60-sonmere.conf", "# fewer devices\n");
  ASSERT_TRUE(DriverDropIns({bundle.string(), config.string(), "0.9"}).install());
  EXPECT_EQ(driver().look().state, State::old);
  EXPECT_TRUE(driver().install()->notes.empty());
  EXPECT_EQ(driver().look().state, State::whole);
  EXPECT_EQ(std::distance(fs::directory_iterator(devices().parent_path()), fs::directory_iterator()), 1);

  const std::string edited = std::regex_replace(read(devices()), std::regex("Track 1"), "Drums");
  for (const char* kept : {".bak", ".bak2"}) {
    write(devices(), edited);
    EXPECT_EQ(driver().look().state, State::edited);
    const auto change = driver().install();
    ASSERT_EQ(change->notes.size(), 1u);
    EXPECT_NE(change->notes[0].find(kept), std::string::npos);
    EXPECT_EQ(read(devices().string() + kept), edited);
    EXPECT_EQ(driver().look().state, State::whole);
  }
  write(devices(), edited);
  EXPECT_EQ(driver().remove()->notes.size(), 1u);
  EXPECT_FALSE(fs::exists(devices()));
  EXPECT_EQ(read(devices().string() + ".bak3"), edited);
}

// A thousand changes, of which most fail somewhere: what was there is there, or what is wanted.
TEST_F(DriverDropInsTest, AFailureAtAnyStepLeavesItWholeOrAway) {
  std::mt19937 random(1);
  bool isThere = false;
  int failures = 0;
  for (int cycle = 0; cycle < 1000; ++cycle) {
    const auto before = tree();
    int stepsToFailure = int(random() % 24);
    auto breaking = driver("2.0", [&](const fs::path& path) -> Outcome<void> {
      if (stepsToFailure-- == 0) return std::unexpected(posixError(ENOSPC, "write " + path.string()));
      return {};
    });
    auto unbroken = driver();
    const bool isInstall = random() % 2 == 0;
    const auto done = isInstall ? breaking.install() : breaking.remove();
    if (!done) {
      ++failures;
      EXPECT_EQ(tree(), before) << "cycle " << cycle;
    } else {
      isThere = isInstall;
    }
    ASSERT_EQ(unbroken.look().state, isThere ? State::whole : State::absent) << "cycle " << cycle;
  }
  EXPECT_GT(failures, 100);
  ASSERT_TRUE(driver().install());
  ASSERT_TRUE(driver().remove());
  EXPECT_TRUE(tree().empty()) << "what a failed sweep had left";
}

TEST_F(DriverDropInsTest, WhatIsNoOrdinaryFileIsLeftAloneAndTold) {
  const auto expectRefused = [&](const char* why) {
    const auto before = tree();
    const auto installed = driver().install(), removed = driver().remove();
    ASSERT_FALSE(installed || removed);
    EXPECT_NE(installed.error().description.find(why), std::string::npos) << installed.error().description;
    EXPECT_EQ(driver().look().problem, installed.error().description);
    EXPECT_EQ(tree(), before);
  };
  write(folder / "elsewhere.conf", "somebody's");
  fs::create_directories(devices().parent_path());
  fs::create_symlink(folder / "elsewhere.conf", devices());
  expectRefused("is a symbolic link");
  EXPECT_EQ(read(folder / "elsewhere.conf"), "somebody's");
  fs::remove(devices());
  fs::create_directory(devices());
  expectRefused("is a folder");
  fs::remove(devices());
  fs::remove_all(config / "pipewire");
  write(config / "pipewire", "a file where the folder should be");
  const auto before = tree();
  EXPECT_FALSE(driver().install());
  EXPECT_EQ(tree(), before);
  EXPECT_NE(DriverDropIns({SONMERE_SOURCE_DIR "/resources/driver", "", "2"})
                .install()
                .error()
                .description.find("no home"),
            std::string::npos);
  EXPECT_NE(DriverDropIns({"/nowhere", config.string(), "2"})
                .install()
                .error()
                .description.find("Driver bundle not found"),
            std::string::npos);
}

}  // namespace
}  // namespace sonmere
