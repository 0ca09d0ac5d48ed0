#include <sys/stat.h>

#include <cmath>

#include "FileCommandTest.h"
#include "audio/file/AudioFileReader.h"

namespace sonmere {
namespace {

class RecordingsCommandTest : public FileCommandTest {};

TEST_F(RecordingsCommandTest, ListScanAndRepairTellWhatIsThere) {
  EXPECT_EQ(run({"recordings", "--folder", takes}).out, "There are no recordings in " + takes + ".\n");
  take("Sonmere Track 1");
  take("Sonmere Track 2");
  interrupt(take("Voice\x1b[2J", "2026-01-02 09-00-00"));
  const Run repair = run({"recordings", "repair", "--folder", takes});
  EXPECT_EQ(repair.status, 0);
  EXPECT_NE(repair.out.find("Repaired Voice\xEF\xBF\xBD[2J"), std::string::npos) << repair.out;
  EXPECT_EQ(run({"recordings", "repair", "--folder", takes}).out, "Nothing to repair in " + takes + ".\n");
  EXPECT_EQ(run({"recordings", "scan", "--folder", takes}).out,
            "Found 2 sessions with 3 recordings in " + takes + ".\n");
  const Run list = run({"recordings", "list", "--folder", takes});
  EXPECT_LT(list.out.find("2026-01-02"), list.out.find("Track 1")) << list.out;
  EXPECT_EQ(list.out.find('\x1b'), std::string::npos) << "names don't reach the terminal as they are";

  interrupt(takes + "/Sonmere Track 2 \u2014 2026-01-01 10-00-00.wav");
  const auto all = json({"recordings", "list", "--folder", takes});
  ASSERT_EQ(all["sessions"].size(), 2u);
  EXPECT_EQ(all["sessions"][1]["stamp"], "2026-01-01 10-00-00");
  EXPECT_EQ(all["sessions"][1]["files"][1]["name"], "Track 2");
  EXPECT_DOUBLE_EQ(all["sessions"][1]["files"][1]["seconds"], 1);
  EXPECT_EQ(all["repaired"].size(), 1u);
}

TEST_F(RecordingsCommandTest, RenameKeepsTheStampAndTheEditsAndReplacesNothing) {
  take("Sonmere Track 1");
  take("Sonmere Track 2");
  const std::string stamp = " \u2014 2026-01-01 10-00-00.wav";
  std::ofstream(takes + "/.sonmere-edits.json")
      << nlohmann::json{{"schemaVersion", 1},
                        {"sessionTimestamp", "2026-01-01 10-00-00"},
                        {"tracks",
                         {{"Sonmere Track 1" + stamp, {{"muted", true}, {"colour", "red"}}},
                          {"Guitar" + stamp, {{"gainLinear", 3}}}}},
                        {"addedTracks", {{"old", {"Sonmere Track 1" + stamp}}}}};
  EXPECT_EQ(run({"recordings", "rename", "Sonmere Track 1" + stamp, "Guitar", "--folder", takes}).status, 0);
  EXPECT_TRUE(fs::exists(takes + "/Guitar" + stamp));
  std::ifstream file(takes + "/.sonmere-edits.json");
  const auto edits = nlohmann::json::parse(file);
  EXPECT_EQ(edits["tracks"], (nlohmann::json{{"Guitar" + stamp, {{"muted", true}, {"colour", "red"}}}}))
      << "what this program does not know goes along, what a file that is gone has left does not";
  EXPECT_EQ(edits["addedTracks"]["old"][0], "Guitar" + stamp);

  const std::string guitar = takes + "/Guitar" + stamp;
  const std::pair<std::string, std::string> refused[] = {{"Sonmere Track 2", "there is such a file already"},
                                                         {"../Guitar", "\"/\""},
                                                         {"..", "no name"},
                                                         {"", "empty"},
                                                         {"  ", "empty"},
                                                         {"a\nb", "control"},
                                                         {std::string(250, 'x'), "too long"}};
  for (const auto& [name, why] : refused) {
    const Run result = run({"recordings", "rename", guitar, name});
    EXPECT_EQ(result.status, 2) << name;
    EXPECT_NE(result.err.find(why), std::string::npos) << result.err;
    EXPECT_TRUE(fs::exists(guitar));
  }
  EXPECT_EQ(run({"recordings", "rename", takes + "/none" + stamp, "x"}).status, 2);
  make(takes + "/plain.wav");
  EXPECT_EQ(run({"recordings", "rename", takes + "/plain.wav", "x"}).status, 2);
  EXPECT_EQ(json({"recordings", "rename", guitar, "Solo", "--drop-stamp"})["path"], takes + "/Solo.wav");
  EXPECT_EQ(json({"recordings", "list", "--folder", takes})["sessions"][0]["files"].size(), 1u);
}

TEST_F(RecordingsCommandTest, TheFolderIsShownChangedAndGoneBackFrom) {
  const std::string standard = path("Music/Sonmere Recordings");
  EXPECT_EQ(run({"recordings", "folder"}).out, standard + " (the default)\n");
  EXPECT_EQ(run({"recordings", "folder", takes}).out, takes + "\n");
  EXPECT_EQ(run({"settings", "get", "sonmere.recordingsFolderPath"}).out, takes + "\n");
  take("A");
  EXPECT_EQ(json({"recordings"})["sessions"].size(), 1u);

  std::ofstream(path("file")) << "in the way";
  const Run refused = run({"recordings", "folder", path("file")});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err, "sonmere recordings folder: Sonmere can't save recordings in this folder: " +
                             path("file") + "\n");
  EXPECT_EQ(run({"recordings", "folder"}).out, takes + "\n");

  fs::remove_all(takes);
  std::ofstream(path("takes")) << "a file in its place";
  EXPECT_NE(run({"session", "show", "2026"}).err.find("folder isn't available"), std::string::npos);
  const Run gone = run({"recordings", "list"});
  EXPECT_EQ(gone.status, 0);
  EXPECT_EQ(gone.out, "There are no recordings in " + standard + ".\n");
  EXPECT_EQ(
      gone.err,
      "sonmere recordings list: Your recordings folder isn't available right now. Is the drive connected? "
      "Until it's back, new recordings are saved to ~/Music/Sonmere Recordings\n");
  EXPECT_EQ(json({"recordings", "folder"})["unavailable"], true);
  EXPECT_EQ(run({"recordings", "folder", "--default"}).out, standard + " (the default)\n");
  EXPECT_EQ(run({"settings", "get", "sonmere.recordingsFolderPath"}).err,
            "sonmere settings: sonmere.recordingsFolderPath is not set. Where recordings go; without it "
            "Sonmere Recordings in the music folder\n");
  EXPECT_FALSE(fs::exists(standard)) << "made when something is recorded";
}

TEST_F(RecordingsCommandTest, TheSettingOfTheFolderIsHeldToTheSameRules) {
  const auto set = [&](const std::string& wanted) {
    return run({"settings", "set", "sonmere.recordingsFolderPath", wanted});
  };
  const auto get = [&] { return run({"settings", "get", "sonmere.recordingsFolderPath"}).out; };
  std::ofstream(path("file")) << "in the way";
  for (const std::string& bad : {path("file"), path(std::string(300, 'x')), std::string("/proc/version")})
    EXPECT_EQ(set(bad).err, "sonmere settings: " + bad + " can't be written to\n");
  EXPECT_EQ(set(path("takes\xFF")).status, 0);
  EXPECT_EQ(get(), path("takes\xFF") + "\n");
  EXPECT_NE(run({"settings", "list"}).out.find("(changed)\n"), std::string::npos);
}

TEST_F(RecordingsCommandTest, AnImportJoinsASessionAtItsRate) {
  take("A");
  const std::string source = make(path("song.wav"), 44100);
  const std::string made =
      json({"recordings", "import", source, "--session", "2026-01-01 10-00-00", "--folder", takes})["path"];
  EXPECT_EQ((*openAudioFile(made))->format().sampleRate, 48000);
  EXPECT_EQ(json({"recordings", "list", "--folder", takes})["sessions"][0]["files"].size(), 2u);
  const Run own = run({"recordings", "import", source});
  EXPECT_EQ(own.status, 0) << own.err;
  EXPECT_EQ(json({"recordings", "list"})["sessions"].size(), 1u) << "in the default folder, which was made";
  for (const std::vector<std::string>& bad :
       {std::vector<std::string>{"recordings", "import", path("none.wav"), "--folder", takes},
        {"recordings", "import", source, "--session", "2000-01-01 00-00-00", "--folder", takes},
        {"recordings", "import", source, "--folder", path("nowhere")}})
    EXPECT_EQ(run(bad).status, 2);
}

TEST_F(RecordingsCommandTest, RecordingsAreNamedAsTheListHasThem) {
  run({"recordings", "folder", takes});
  take("Sonmere Track 1");
  take("Sonmere Track 2");
  take("Sonmere Track 1", "2026-02-02 10-00-00");
  const std::string list = run({"recordings", "list"}).out;
  EXPECT_LT(list.find("  1  2026-02-02"), list.find("2.1  2026-01-01")) << list;
  const auto fileOf = [&](const std::string& text) -> std::string {
    return json({"info", text})["files"][0]["file"];
  };
  EXPECT_TRUE(fileOf("latest").ends_with("Sonmere Track 1 \u2014 2026-02-02 10-00-00.wav"));
  EXPECT_TRUE(fileOf("2.2").ends_with("Sonmere Track 2 \u2014 2026-01-01 10-00-00.wav"));
  EXPECT_EQ(fileOf("Track 2"), fileOf("2.2"));
  EXPECT_EQ(run({"info", "Track 1"}).status, 2) << "two are called so";
  EXPECT_EQ(run({"waveform", "latest", "--png", path("p.png")}).status, 0);
  EXPECT_EQ(run({"edit", "2.1", "--save", path("e.wav")}).status, 0);
  EXPECT_EQ(run({"session", "show", "latest"}).status, 0);
  const std::string source = make(path("song.wav"), 44100);
  EXPECT_EQ(json({"recordings", "import", source, "--session", "2026-01"})["path"],
            takes + "/song \u2014 2026-01-01 10-00-00.wav");
  EXPECT_EQ(run({"recordings", "import", source, "--session", "2026-0"}).status, 2) << "fits two";
  EXPECT_EQ(json({"recordings", "rename", "latest", "Solo"})["path"],
            takes + "/Solo \u2014 2026-02-02 10-00-00.wav");
}

TEST_F(RecordingsCommandTest, ADeletedRecordingIsInTheTrashAndComesBackWithItsEdits) {
  run({"recordings", "folder", takes});
  const std::string kept = take("Sonmere Track 1"), gone = take("Sonmere Track 2");
  const std::string edits = "{\"schemaVersion\":1}";
  std::ofstream(takes + "/.sonmere-edits.json") << edits;
  const std::string moved = json({"recordings", "delete", "1.2"})["paths"][0];
  EXPECT_EQ(moved, path("Trash/files/Sonmere Track 2 \u2014 2026-01-01 10-00-00.wav"));
  EXPECT_TRUE(fs::exists(moved) && fs::exists(kept));
  EXPECT_FALSE(fs::exists(gone));
  EXPECT_EQ(json({"recordings", "list"})["sessions"][0]["files"].size(), 1u);
  EXPECT_EQ(run({"recordings", "delete", "Track 2"}).status, 2);
  EXPECT_EQ(run({"recordings", "restore", "Track 1"}).status, 2) << "is not in the trash";
  EXPECT_EQ(json({"recordings", "restore"})["paths"][0], gone);
  EXPECT_TRUE(fs::exists(gone));
  EXPECT_EQ(run({"recordings", "restore"}).status, 2);
  EXPECT_EQ(run({"recordings", "delete", make(path("plain.wav"))}).status, 2) << "no recording";
  EXPECT_EQ(run({"recordings", "delete", kept, "1.2"}).status, 0);
  EXPECT_EQ(run({"recordings", "restore", "2026-01-01"}).status, 0) << "both";
  EXPECT_TRUE(fs::exists(kept) && fs::exists(gone));
}

TEST_F(RecordingsCommandTest, PlayEndsWithTheLastRecording) {
  run({"recordings", "folder", takes});
  take("Sonmere Track 1");
  const Run played = run({"recordings", "play", "latest", "--platform", "simulated"});
  EXPECT_EQ(played.status, 0) << played.err;
  EXPECT_NE(played.out.find("Sonmere Track 1"), std::string::npos);
  EXPECT_EQ(run({"recordings", "play", "9", "--platform", "simulated"}).status, 2);
}

TEST_F(RecordingsCommandTest, InfoTellsFormatAndLoudness) {
  const auto info = json({"info", make(path("tone.wav")), "--loudness"})["files"][0];
  EXPECT_EQ(info["codec"], "PCM");
  EXPECT_EQ(info["bitRate"], std::round(double(info["bytes"]) * 8));
  EXPECT_EQ(info["format"], "wav");
  EXPECT_EQ(info["sampleRate"], 48000);
  EXPECT_EQ(info["channels"], 2);
  EXPECT_EQ(info["bits"], 24);
  EXPECT_EQ(info["frames"], 48000);
  EXPECT_EQ(info["bytes"], fs::file_size(path("tone.wav")));
  EXPECT_NEAR(info["loudness"]["samplePeakDb"], -6.02, 0.01);
  const Run facts = run({"info", path("tone.wav"), path("none.wav"), path("tone.wav")});
  EXPECT_EQ(facts.status, 2);
  EXPECT_NE(facts.out.find("\n\nfile"), std::string::npos) << "one that fails costs the others nothing";
  EXPECT_EQ(facts.out.find("LUFS"), std::string::npos) << "only when asked for";
  EXPECT_EQ(json({"info", path("tone.wav"), path("tone.wav")})["files"].size(), 2u);
  const Run text = run({"info", "--loudness", path("tone.wav")});
  EXPECT_NE(text.out.find("24-bit integer"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("0:01.000 (48000 frames)"), std::string::npos) << text.out;
  EXPECT_NE(text.out.find("LUFS"), std::string::npos) << text.out;
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  for (const std::string& bad : {path("none.wav"), path("pipe"), folder.path().string()}) {
    const Run result = run({"info", bad});
    EXPECT_EQ(result.status, 2) << bad;
    EXPECT_NE(result.err.find(bad), std::string::npos) << result.err;
  }
}

}  // namespace
}  // namespace sonmere
