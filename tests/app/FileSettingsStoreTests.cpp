#include "app/FileSettingsStore.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/AtomicFile.h"
#include "base/FileLock.h"
#include "base/LiveRuntime.h"
#include "base/SettingsLevels.h"
#include "base/VirtualRuntime.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;
using Dictionary = SettingsValue::Dictionary;

class FileSettingsStoreTest : public testing::Test {
 protected:
  FileSettingsStoreTest() {
    log.addSink([this](LogLevel level, const std::string& line) {
      if (level >= LogLevel::warning) complaints.push_back(line);
    });
  }
  std::unique_ptr<FileSettingsStore> open() {
    return std::make_unique<FileSettingsStore>(runtime, log, path);
  }
  std::string text() const { return readWholeFile(path).value_or("nothing"); }
  void write(const std::string& content) {
    ASSERT_TRUE(createFolders(path.parent_path()));
    ASSERT_TRUE(writeFileAtomically(path, content));
  }

  TemporaryFolder folder;
  fs::path path = folder / "config/sonmere/settings.json";
  VirtualRuntime runtime{1};
  Log log;
  std::vector<std::string> complaints;
};

TEST_F(FileSettingsStoreTest, KeepsEveryKindAcrossRuns) {
  const Dictionary all{{"sonmere.flag", false},
                       {"sonmere.whole", 7},
                       {"sonmere.number", 0.1},
                       {"sonmere.text", "Grüße"},
                       {"sonmere.data", SettingsData{std::string("\0\x01\xFF", 3)}},
                       {"sonmere.map", Dictionary{{"app.one", 0.5}, {"app.two", 1}}},
                       {"$data", "a key like any other"}};
  auto store = open();
  EXPECT_FALSE(fs::exists(path.parent_path())) << "reading leaves no trace";
  for (const auto& [key, value] : all) store->set(key, value);
  store->set("sonmere.gone", 1);
  store->remove("sonmere.gone");
  store.reset();
  struct stat info {};
  ASSERT_EQ(stat(path.c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);
  ASSERT_EQ(stat(path.parent_path().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0700u);
  store = open();
  EXPECT_EQ(store->keys().size(), all.size());
  for (const auto& [key, value] : all) EXPECT_EQ(store->object(key), value) << key;
  EXPECT_TRUE(complaints.empty());
}

TEST_F(FileSettingsStoreTest, WritesShortlyAfterTheFirstChangeAndTogether) {
  auto store = open();
  store->set("a", 1);
  EXPECT_EQ(store->number("a"), 1) << "at once in memory";
  runtime.advance(fromMilliseconds(90));
  store->set("b", 2);
  EXPECT_EQ(text(), "nothing");
  runtime.advance(fromMilliseconds(20));
  EXPECT_EQ(text(), "{\n  \"a\": 1,\n  \"b\": 2\n}\n");
  const auto before = fs::last_write_time(path);
  store->set("a", 1);
  EXPECT_TRUE(store->synchronize());
  EXPECT_EQ(fs::last_write_time(path), before) << "the same content is not written again";
}

TEST_F(FileSettingsStoreTest, UnknownKeysAndOddValuesSurvive) {
  write(
      R"({"future": {"x": [1, null, 18446744073709551615, {"$data": 3}]}, "sonmere.volume": "loud", "gone": 1})");
  auto store = open();
  EXPECT_FALSE(store->number("sonmere.volume"));
  store->set("sonmere.new", true);
  store->remove("gone");
  ASSERT_TRUE(store->synchronize());
  const auto back = settingsValueFromJSON(text());
  const auto expected = settingsValueFromJSON(
      R"({"future": {"x": [1, null, 18446744073709551615, {"$data": 3}]}, "sonmere.volume": "loud", "sonmere.new": true})");
  EXPECT_EQ(back, expected);
  EXPECT_NE(text().find("18446744073709551615"), std::string::npos);
}

TEST_F(FileSettingsStoreTest, DamagedFileIsKeptAsideAndToldOnce) {
  const std::vector<std::string> damages{"", "[1]", "{\"a\": 1",
                                         std::string("\x7F"
                                                     "ELF\0",
                                                     5)};
  for (const std::string& damage : damages) {
    write(damage);
    complaints.clear();
    auto store = open();
    EXPECT_TRUE(store->keys().empty());
    ASSERT_EQ(complaints.size(), 1u);
    EXPECT_NE(complaints[0].find(path.string() + " is damaged"), std::string::npos) << complaints[0];
    EXPECT_NE(complaints[0].find(path.string() + ".bad"), std::string::npos) << complaints[0];
    store->set("a", 1);
    EXPECT_TRUE(store->synchronize());
    EXPECT_EQ(complaints.size(), 1u);
  }
  EXPECT_EQ(readWholeFile(path.string() + ".bad"), damages[0]);
  for (std::size_t i = 1; i < damages.size(); ++i)
    EXPECT_EQ(readWholeFile(fmt::format("{}.bad.{}", path.string(), i)), damages[i]);
}

SettingsValue nested(int levels) {
  SettingsValue value = 1;
  for (int i = 0; i < levels; ++i) value = SettingsValue::Array{std::move(value)};
  return value;
}

// What is written can be read, and what can't be read costs nothing but itself, whoever wrote it.
TEST_F(FileSettingsStoreTest, AValueNestedTooDeeplyCostsNoOther) {
  auto store = open();
  store->set("deepest", nested(kMostValueLevels));
  store->set("too deep", nested(kMostValueLevels + 1));
  store->set("good", 1);
  ASSERT_TRUE(store->synchronize());
  ASSERT_EQ(complaints.size(), 1u);
  EXPECT_NE(complaints[0].find("too deep is nested too deeply"), std::string::npos) << complaints[0];
  store = open();
  EXPECT_EQ(store->object("deepest"), nested(kMostValueLevels));
  EXPECT_EQ(store->keys(), (std::vector<std::string>{"deepest", "good"}));
  EXPECT_EQ(complaints.size(), 1u);

  const std::string foreign =
      R"({"a": 1, "b": )" + std::string(200'000, '[') + std::string(200'000, ']') + R"(, "c": {"d": 2}})";
  write(foreign);
  store->set("e", 3);  // by a store that runs
  ASSERT_TRUE(store->synchronize());
  write(foreign);
  for (int start = 0; start < 2; ++start) {
    store = open();
    EXPECT_EQ(store->keys(), (std::vector<std::string>{"a", "c"}));
    EXPECT_EQ(store->object("c"), SettingsValue(Dictionary{{"d", 2}}));
  }
  ASSERT_EQ(complaints.size(), 3u) << "told once each time";
  EXPECT_NE(complaints[2].find("\"b\""), std::string::npos) << complaints[2];
  EXPECT_EQ(readWholeFile(path.string() + ".bad"), foreign);
}

TEST_F(FileSettingsStoreTest, DamageWhileRunningLosesNothing) {
  write(R"({"kept": 1})");
  auto store = open();
  write("garbage");
  store->set("new", 2);
  ASSERT_TRUE(store->synchronize());
  EXPECT_EQ(settingsValueFromJSON(text()), SettingsValue(Dictionary{{"kept", 1}, {"new", 2}}));
  EXPECT_EQ(readWholeFile(path.string() + ".bad"), "garbage");
}

TEST_F(FileSettingsStoreTest, TwoStoresOnOneFileKeepEachOthersKeys) {
  write(R"({"shared": 0, "removed": 1})");
  auto app = open(), command = open();
  command->set("shared", 1);
  command->set("command", true);
  command->remove("removed");
  ASSERT_TRUE(command->synchronize());
  app->set("app", true);
  ASSERT_TRUE(app->synchronize());
  EXPECT_EQ(settingsValueFromJSON(text()),
            SettingsValue(Dictionary{{"shared", 1}, {"command", true}, {"app", true}}));
  app->set("shared", 0);  // what it believes to be there already
  ASSERT_TRUE(app->synchronize());
  EXPECT_EQ(open()->number("shared"), 0);
}

TEST_F(FileSettingsStoreTest, FailureIsClearToldOnceAndRetried) {
  // A plain file where the folder should be: refused to the administrator, too.
  write("{}");
  const fs::path obstacle = path;
  path = obstacle / "settings.json";
  auto store = open();
  store->set("a", 1);
  runtime.advance(std::chrono::seconds(20));
  ASSERT_EQ(complaints.size(), 1u);
  EXPECT_NE(complaints[0].find("could not be saved"), std::string::npos);
  EXPECT_NE(complaints[0].find(obstacle.string()), std::string::npos) << complaints[0];
  const auto result = store->synchronize();
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().code, ENOTDIR);
  EXPECT_EQ(store->number("a"), 1);
  fs::remove(obstacle);
  runtime.advance(std::chrono::seconds(10));
  EXPECT_EQ(text(), "{\n  \"a\": 1\n}\n") << "tried again without being asked";
  EXPECT_EQ(complaints.size(), 1u);
}

// Another program that hangs while it holds the lock.
TEST_F(FileSettingsStoreTest, ALockThatIsHeldKeepsNoProgramFromEndingAndCostsNothing) {
  write(R"({"gone": 1})");
  {
    const auto held = FileLock::take(path.string() + ".lock", Duration::zero());
    ASSERT_TRUE(held);
    auto store = open();
    store->set("a", SettingsData{"bytes"});
    store->remove("gone");
    store.reset();
    ASSERT_EQ(complaints.size(), 2u);
    EXPECT_NE(complaints[0].find("could not be saved"), std::string::npos) << complaints[0];
    EXPECT_NE(complaints[1].find("taken up at the next start"), std::string::npos) << complaints[1];
    EXPECT_EQ(text(), R"({"gone": 1})");
  }
  for (int start = 0; start < 2; ++start) {
    const auto store = open();
    EXPECT_EQ(store->keys(), std::vector<std::string>{"a"});
    EXPECT_EQ(store->data("a"), "bytes");
    EXPECT_EQ(std::distance(fs::directory_iterator(path.parent_path()), fs::directory_iterator()), 1);
  }
}

TEST_F(FileSettingsStoreTest, UnreadableFileIsNeverOverwritten) {
  ASSERT_TRUE(createFolders(path / "in its place"));
  auto store = open();
  ASSERT_EQ(complaints.size(), 1u);
  EXPECT_NE(complaints[0].find("could not be read"), std::string::npos);
  store->set("a", 1);
  EXPECT_EQ(store->synchronize().error().code, EISDIR);
  EXPECT_TRUE(fs::exists(path / "in its place"));
}

// Runs `body` in a child process that reports each finished step by a byte; returns its ID.
template <class Body>
pid_t inChild(int reportEnd, Body body) {
  const pid_t child = fork();
  if (child != 0) return child;
  body([reportEnd] { (void)!write(reportEnd, "x", 1); });
  _exit(0);
}

TEST_F(FileSettingsStoreTest, KilledWritersLeaveTheOldOrTheNewFile) {
  const std::string filler(20'000, 'f');
  for (int run = 0; run < 50; ++run) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = inChild(ends[1], [&](auto report) {
      auto store = open();
      for (int i = 1;; ++i) {
        store->set("count", i);
        store->set("filler", filler + std::to_string(i));
        if (store->synchronize()) report();
      }
    });
    ASSERT_GT(child, 0);
    // The kill falls somewhere into the writes after the last one reported.
    char byte;
    const int acknowledged = 1 + run % 7;
    for (int i = 0; i < acknowledged; ++i) ASSERT_EQ(read(ends[0], &byte, 1), 1);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(ends[0]);
    close(ends[1]);
    auto store = open();
    const double count = store->number("count").value_or(-1);
    EXPECT_GE(count, acknowledged);
    EXPECT_EQ(store->string("filler"), filler + std::to_string(int(count)));
    for (const auto& entry : fs::directory_iterator(path.parent_path()))
      EXPECT_NE(entry.path().extension(), ".tmp") << entry.path();
  }
  EXPECT_TRUE(complaints.empty());
}

TEST_F(FileSettingsStoreTest, ProcessesWritingAtOnceLoseNoKey) {
  constexpr int kProcesses = 4, kKeys = 25;
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    children.push_back(fork());
    ASSERT_GE(children.back(), 0);
    if (children.back() != 0) continue;
    auto store = open();
    bool isSaved = true;
    for (int i = 0; i < kKeys; ++i) {
      store->set(fmt::format("{}.{}", process, i), i);
      isSaved &= store->synchronize().has_value();
    }
    _exit(isSaved ? 0 : 1);
  }
  for (const pid_t child : children) {
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(open()->keys().size(), std::size_t(kProcesses * kKeys));
}

TEST_F(FileSettingsStoreTest, LiveBackgroundFlushesMeetWrites) {
  {
    LiveRuntime live;
    FileSettingsStore store(live, log, path);
    for (int i = 0; i < 200; ++i) {
      store.set(fmt::format("key.{}", i), i);
      if (i % 50 != 49) continue;
      const auto isWritten = [&] { return text().find(std::to_string(i)) != std::string::npos; };
      EXPECT_TRUE(live.waitUntil(isWritten, std::chrono::seconds(60)));
    }
    store.set("last", true);
  }
  EXPECT_EQ(open()->keys().size(), 201u);
}

TEST_F(FileSettingsStoreTest, DefaultPathFollowsTheEnvironment) {
  setenv("HOME", "/home/someone", 1);
  unsetenv("SONMERE_SETTINGS");
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(defaultSettingsPath(), "/home/someone/.config/sonmere/settings.json");
  setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_EQ(defaultSettingsPath(), "/home/someone/.config/sonmere/settings.json");
  setenv("XDG_CONFIG_HOME", "/elsewhere", 1);
  EXPECT_EQ(defaultSettingsPath(), "/elsewhere/sonmere/settings.json");
  setenv("SONMERE_SETTINGS", "own.json", 1);
  EXPECT_EQ(defaultSettingsPath(), "own.json");
}

}  // namespace
}  // namespace sonmere
