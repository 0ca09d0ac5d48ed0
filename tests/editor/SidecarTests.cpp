#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "base/AtomicFile.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "fuzz/FuzzSidecar.h"
#include "recording/library/RecordingRename.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

struct Sidecar : testing::Test {
  Sidecar() {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }
  std::filesystem::path file() const { return folder / ".sonmere-edits.json"; }
  void put(const std::string& json) { std::ofstream(file(), std::ios::binary) << json; }
  std::string content() const { return readWholeFile(file()).value_or(""); }
  void touch(const std::string& name) { std::ofstream(folder / name) << "RIFF"; }

  void rename(const std::string& from, const std::string& to) const {
    const std::string path = (folder / to).string();
    EXPECT_EQ(sidecar.renameFile(folder / from, [&] { return path; }), path);
  }

  TemporaryFolder folder;
  Log log;
  std::vector<std::string> lines;
  SessionEditsSidecar sidecar{log};
};

TEST_F(Sidecar, WhatIsSavedIsSortedAndPrettyAndLoadsAgain) {
  PersistedSessionEdits edits;
  edits.sessionTimestamp = "2026-01-31 12-00-00";
  edits.tracks["b.wav"] = {10, 20, 1, 2, 0.3f, true, false};
  edits.tracks["a.wav"] = {};
  sidecar.save(edits, folder.path());
  EXPECT_EQ(content(), R"({
  "schemaVersion": 1,
  "sessionTimestamp": "2026-01-31 12-00-00",
  "tracks": {
    "a.wav": {
      "fadeInFrames": 0,
      "fadeOutFrames": 0,
      "gainLinear": 1.0,
      "muted": false,
      "soloed": false,
      "trimStartFrame": 0
    },
    "b.wav": {
      "fadeInFrames": 1,
      "fadeOutFrames": 2,
      "gainLinear": 0.3,
      "muted": false,
      "soloed": true,
      "trimEndFrame": 20,
      "trimStartFrame": 10
    }
  }
}
)");
  EXPECT_EQ(sidecar.load(folder.path()), edits);
  EXPECT_TRUE(lines.empty());
}

TEST_F(Sidecar, UnknownKeysAndOtherSessionsSurviveASaveAndGoneFilesDropOut) {
  touch("other.wav");
  put(R"({"schemaVersion":1,"window":{"zoom":[1,2]},"tracks":{
      "mine.wav":{"colour":"red","muted":true},"other.wav":{"gainLinear":2},
      "gone.wav":{},"../up.wav":{}},"addedTracks":{"old":["x.wav"]}})");
  auto edits = *sidecar.load(folder.path());
  edits.tracks = {{"mine.wav", {}}};
  edits.tracks["mine.wav"].gainLinear = 0.5f;
  sidecar.save(edits, folder.path());
  const auto saved = nlohmann::json::parse(content());
  EXPECT_EQ(saved["window"]["zoom"], nlohmann::json({1, 2}));
  EXPECT_EQ(saved["tracks"]["mine.wav"]["colour"], "red");
  EXPECT_EQ(saved["tracks"]["mine.wav"]["muted"], false);
  EXPECT_EQ(saved["tracks"]["mine.wav"]["gainLinear"], 0.5);
  EXPECT_EQ(saved["tracks"]["other.wav"]["gainLinear"], 2);
  EXPECT_EQ(saved["tracks"].size(), 2u);
  EXPECT_EQ(saved["addedTracks"]["old"], nlohmann::json({"x.wav"}));
}

TEST_F(Sidecar, AFileThatIsRenamedKeepsItsEdits) {
  const std::string json = R"({"schemaVersion":1,"x":1,"tracks":{"a":{"colour":"red"},"gone":{"muted":true}},
      "addedTracks":{"old":["a","b"]}})";
  put(json);
  rename("a", "gone");
  const auto saved = nlohmann::json::parse(content());
  EXPECT_EQ(saved["tracks"], (nlohmann::json{{"gone", {{"colour", "red"}}}})) << "not those of a file before";
  EXPECT_EQ(saved["addedTracks"]["old"], (nlohmann::json{"gone", "b"}));
  EXPECT_EQ(saved["x"], 1);
  for (const std::string& other :
       {json, std::string(R"({"schemaVersion":2,"tracks":{"c":{}}})"), std::string("{")}) {
    put(other);
    rename("c", "d");
    EXPECT_EQ(content(), other) << "nothing of it to be renamed";
  }
}

TEST_F(Sidecar, WhatIsNoDocumentOfOursGivesOneLineAndIsReplacedByTheNextSave) {
  const std::string deep = R"({"schemaVersion":1,"x":)" + std::string(2000000, '[');
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", "parse failed: "},
      {"{\"schemaVersion\":1", "parse failed: "},
      {"[]", "parse failed: it is not an object"},
      {"{}", "parse failed: it has no \"schemaVersion\""},
      {deep, "parse failed: it is nested too deeply"},
      {R"({"schemaVersion":1,"tracks":{"a":{"muted":1}}})", "parse failed: \"muted\" is not true or false"},
      {R"({"schemaVersion":1,"tracks":{"a":{"gainLinear":1e39}}})",
       "\"gainLinear\" is not a number of 32 bits"},
      {R"({"schemaVersion":1,"tracks":{"a":{"trimEndFrame":1e19}}})",
       "\"trimEndFrame\" is not a whole number of 64 bits"},
      {R"({"schemaVersion":2,"tracks":"whatever"})", "SessionEditsSidecar: ignoring newer schema v2"},
  };
  for (const auto& [json, line] : cases) {
    SCOPED_TRACE(json.substr(0, 80));
    lines.clear();
    put(json);
    EXPECT_EQ(sidecar.load(folder.path()), std::nullopt);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].starts_with("SessionEditsSidecar: ") && lines[0].contains(line)) << lines[0];
    EXPECT_EQ(content(), json) << "it stays until the next save";
    sidecar.save({}, folder.path());
    EXPECT_TRUE(sidecar.load(folder.path()));
    const std::string kept = file().string() + ".bad";
    EXPECT_EQ(readWholeFile(kept).value_or(""), json);
    std::filesystem::remove(kept);
  }
  std::filesystem::resize_file(file(), 65 << 20);
  lines.clear();
  EXPECT_EQ(sidecar.load(folder.path()), std::nullopt);
  EXPECT_TRUE(lines.size() == 1 && lines[0].contains("too large"));
  std::filesystem::remove(file());
  lines.clear();
  EXPECT_EQ(sidecar.load(folder.path()), std::nullopt);
  EXPECT_TRUE(lines.empty()) << "no file, no line";
}

TEST_F(Sidecar, NamesAreBytes) {
  // Two that only differ in what is no UTF-8, one that is none but in its end, one that has a "%" too, and
  // some that look like what stands for such a name.
  PersistedSessionEdits edits;
  float gain = 0;
  for (const char* name : {"caf\xE9.wav", "caf\xEA.wav", "\xC3", "\xED\xA0\x80 50%.wav", "caf\u00E9.wav",
                           "%E9.wav", "bytes", "\xEF\xBF\xBD.wav"})
    edits.tracks[name].gainLinear = gain += 0.5f;
  edits.addedTracks["2026-01-31 12-00-00"] = {"b\xFF.wav", "caf\u00E9.wav"};
  sidecar.save(edits, folder.path());
  EXPECT_EQ(sidecar.load(folder.path()), edits);
  EXPECT_TRUE(lines.empty());
  const auto saved = nlohmann::json::parse(content());
  EXPECT_EQ(saved["tracks"].size(), 8u);
  EXPECT_EQ(saved["tracks"]["/bytes/%ED%A0%80 50%25.wav"]["gainLinear"], 2);
  EXPECT_TRUE(saved["tracks"].contains("caf\u00E9.wav"));

  rename("caf\xE9.wav", "plain.wav");
  rename("b\xFF.wav", "b\xFE.wav");
  const auto renamed = *sidecar.load(folder.path());
  EXPECT_EQ(renamed.tracks.at("plain.wav").gainLinear, 0.5f);
  EXPECT_EQ(renamed.tracks.size(), 8u);
  EXPECT_EQ(renamed.addedTracks.begin()->second.front(), "b\xFE.wav");
}

// As older versions left it of two names that were no UTF-8.
TEST_F(Sidecar, OfAKeyThatStandsTwiceNothingIsLostInSilence) {
  const std::string json =
      R"({"schemaVersion":1,"tracks":{"?":{"gainLinear":2},"?":{"gainLinear":3},"a":{"muted":true}}})";
  put(json);
  touch("a");
  auto edits = sidecar.load(folder.path());
  ASSERT_TRUE(edits);
  EXPECT_TRUE(edits->tracks.at("a").muted);
  EXPECT_EQ(edits->tracks.at("?").gainLinear, 3);
  EXPECT_EQ(lines,
            std::vector<std::string>{"SessionEditsSidecar: a key stands twice; what stands last counts"});
  for (const char* suffix : {".bad", ".bad.1"}) {
    sidecar.save({}, folder.path());
    EXPECT_EQ(readWholeFile(file().string() + suffix), json);
    EXPECT_TRUE(sidecar.load(folder.path())->tracks.at("a").muted);
    put(json);
  }
}

TEST_F(Sidecar, RenamesAndSavesSideBySideLoseNothing) {
  constexpr int kRenamers = 4;
  const auto name = [](int i, int round) {
    return fmt::format("take {}.{} \u2014 2026-01-31 12-00-00.wav", i, round);
  };
  PersistedSessionEdits all;
  for (int i = 0; i < kRenamers; ++i) {
    touch(name(i, 0));
    all.tracks[name(i, 0)].gainLinear = float(i + 1);
  }
  sidecar.save(all, folder.path());
  const char* const wanted = std::getenv("SONMERE_ROUNDS");
  const int rounds = wanted ? std::atoi(wanted) : 10;
  for (int round = 0; round < rounds; ++round) {
    std::barrier start(kRenamers + 1);
    std::vector<std::jthread> threads;
    for (int i = 0; i < kRenamers; ++i)
      threads.emplace_back([&, i] {
        start.arrive_and_wait();
        const auto renamed = sidecar.renameFile(folder / name(i, round), [&] {
          return renameRecording((folder / name(i, round)).string(), fmt::format("take {}.{}", i, round + 1),
                                 true);
        });
        EXPECT_TRUE(renamed) << renamed.error().description;
      });
    threads.emplace_back([&] {
      start.arrive_and_wait();
      sidecar.save({}, folder.path());
    });
    threads.clear();
    const auto edits = sidecar.load(folder.path());
    ASSERT_TRUE(edits) << round;
    for (int i = 0; i < kRenamers; ++i) {
      ASSERT_TRUE(edits->tracks.contains(name(i, round + 1))) << round;
      EXPECT_EQ(edits->tracks.at(name(i, round + 1)).gainLinear, float(i + 1));
    }
  }
  EXPECT_FALSE(std::filesystem::exists(file().string() + ".lock"));
}

TEST_F(Sidecar, AChangeIsMadeOfWhatIsSavedAndToldWhenItFails) {
  PersistedSessionEdits edits;
  edits.tracks["a"].gainLinear = 2;
  sidecar.save(edits, folder.path());
  const auto mute = [](PersistedSessionEdits& saved) -> Outcome<void> {
    saved.tracks["a"].muted = true;
    return {};
  };
  EXPECT_TRUE(sidecar.change(folder.path(), mute));
  edits.tracks["a"].muted = true;
  EXPECT_EQ(sidecar.load(folder.path()), edits);
  const std::string before = content();
  EXPECT_EQ(sidecar.change(folder.path(),
                           [](auto& saved) {
                             saved.tracks.clear();
                             return std::unexpected(Error{"Test", 7, "no"});
                           }),
            std::unexpected(Error{"Test", 7, "no"}));
  EXPECT_EQ(content(), before);
  std::filesystem::remove(file());
  std::filesystem::create_symlink("elsewhere", file());
  EXPECT_FALSE(sidecar.change(folder.path(), mute));
}

TEST_F(Sidecar, ALinkIsNeitherReadNorWritten) {
  touch("precious");
  std::filesystem::create_symlink(folder / "precious", file());
  EXPECT_EQ(sidecar.load(folder.path()), std::nullopt);
  sidecar.save({}, folder.path());
  EXPECT_EQ(readWholeFile(folder / "precious"), "RIFF");
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(lines[1].starts_with("SessionEditsSidecar: write failed: "));
  std::filesystem::remove(file());
  ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
  EXPECT_EQ(sidecar.load(folder.path()), std::nullopt) << "and a pipe does not hang";
}

// A process that dies between the temporary file and the rename leaves the old document and a file that the
// next load sweeps away.
TEST_F(Sidecar, ADeathInTheMiddleOfASaveLeavesTheOldDocument) {
  PersistedSessionEdits old;
  old.tracks["a.wav"].gainLinear = 0.5f;
  sidecar.save(old, folder.path());
  const pid_t dead = fork();
  if (dead == 0) _exit(0);
  int status = 0;
  ASSERT_EQ(waitpid(dead, &status, 0), dead);
  std::ofstream(folder / fmt::format(".{}.{}.0123456789abcdef.tmp", SessionEditsSidecar::kFileName, dead))
      << "{\"schemaVersion\":";
  EXPECT_EQ(sidecar.load(folder.path()), old);
  int temporaries = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
    temporaries += entry.path().extension() == ".tmp";
  EXPECT_EQ(temporaries, 0);
}

TEST_F(Sidecar, WhatTheFuzzerFoundWorthKeeping) {
  int inputs = 0;
  for (const auto& entry : std::filesystem::directory_iterator(SONMERE_SOURCE_DIR "/fuzz/corpus/sidecar")) {
    const auto bytes = readWholeFile(entry.path());
    ASSERT_TRUE(bytes);
    fuzzSidecar(reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size());
    ++inputs;
  }
  EXPECT_GT(inputs, 10);
}

}  // namespace
}  // namespace sonmere
