#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "base/AtomicFile.h"
#include "editor/sidecar/SessionEditsSidecar.h"
#include "fuzz/FuzzSidecar.h"
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
  sidecar.fileWasRenamed("a", "gone", folder.path());
  const auto saved = nlohmann::json::parse(content());
  EXPECT_EQ(saved["tracks"], (nlohmann::json{{"gone", {{"colour", "red"}}}})) << "not those of a file before";
  EXPECT_EQ(saved["addedTracks"]["old"], (nlohmann::json{"gone", "b"}));
  EXPECT_EQ(saved["x"], 1);
  for (const std::string& other :
       {json, std::string(R"({"schemaVersion":2,"tracks":{"c":{}}})"), std::string("{")}) {
    put(other);
    sidecar.fileWasRenamed("c", "d", folder.path());
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
      {R"({"schemaVersion":1,"schemaVersion":1})", "parse failed: a key stands twice in one object"},
      {R"({"schemaVersion":1,"tracks":{"a":{"muted":1}}})", "parse failed: \"muted\" is not true or false"},
      {R"({"schemaVersion":1,"tracks":{"a":{"gainLinear":1e39}}})",
       "\"gainLinear\" is not a number of 32 bits"},
      {R"({"schemaVersion":1,"tracks":{"a":{"trimEndFrame":1e19}}})",
       "\"trimEndFrame\" is not a whole number of 64 bits"},
      {R"({"schemaVersion":2,"tracks":"whatever"})", "SessionEditsSidecar: ignoring newer schema v2"},
      {std::string(5 << 20, ' '), "too large"},
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
  }
  std::filesystem::remove(file());
  lines.clear();
  EXPECT_EQ(sidecar.load(folder.path()), std::nullopt);
  EXPECT_TRUE(lines.empty()) << "no file, no line";
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
