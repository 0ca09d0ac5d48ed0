#include <fcntl.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <sstream>

#include "audio/file/AudioFileReader.h"
#include "audio/file/AudioFileWriter.h"
#include "cli/CommandLine.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

// Nothing of the user's is found or changed.
class CommandLineTest : public testing::Test {
 protected:
  CommandLineTest() {
    for (const char* name :
         {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_RUNTIME_DIR"}) {
      std::filesystem::create_directory(path(name));
      setenv(name, path(name).c_str(), 1);
    }
  }
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
  // Two seconds of noise that can't be decoded from this part of the audio on.
  std::string makeDamagedFLAC(double part) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path("bad.flac").c_str(), SFM_WRITE, &info);
    std::mt19937 random(3);
    std::vector<float> noise(2 * 96000);
    for (float& sample : noise) sample = std::uniform_real_distribution<float>(-0.9f, 0.9f)(random);
    sf_writef_float(file, noise.data(), 96000);
    sf_close(file);
    std::ifstream in(path("bad.flac"), std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(in), {});
    const std::size_t audio = bytes.find("\xff\xf8");
    for (std::size_t i = audio + std::size_t(part * double(bytes.size() - audio)); i < bytes.size(); ++i)
      bytes[i] = char(random());
    std::ofstream(path("bad.flac"), std::ios::binary) << bytes;
    return path("bad.flac");
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
  EXPECT_TRUE(
      (*createAudioFile(path("empty.wav"), {.sampleRate = 48000, .channels = 2, .bitDepth = 16}))->close());
  const std::string empty = "a=" + path("empty.wav"), damaged = "a=" + makeDamagedFLAC(0);
  const std::string helper = "a.helper=" + makeFile("h.wav");
  const std::string missing = "a=" + path("missing.wav"), text = "a=" + path("text.wav"),
                    good = "a=" + makeFile("g.wav");
  const std::string out = path("out"), inFile = path("plain/out");
  const std::string deep = std::string(100, '[') + std::string(100, ']');
  const std::vector<std::pair<std::vector<const char*>, std::string>> cases = {
      {{"demo", "--app", missing.c_str(), "--out", out.c_str()}, path("missing.wav")},
      {{"demo", "--app", text.c_str(), "--out", out.c_str()}, path("text.wav")},
      {{"demo", "--app", good.c_str(), "--route", "a=1", "--out", out.c_str()}, "bus 1"},
      {{"demo", "--app", good.c_str(), "--volume", "a=-2", "--out", out.c_str()}, "-2"},
      {{"demo", "--app", good.c_str(), "--out", inFile.c_str()}, path("plain")},
      {{"demo", "--app", good.c_str(), "--route", "a=10", "--out", out.c_str()}, "\"10\" is not a bus"},
      {{"demo", "--app", good.c_str(), "--route", "a=x", "--out", out.c_str()}, "\"x\" is not a bus"},
      {{"demo", "--app", good.c_str(), "--volume", "a=loud", "--out", out.c_str()}, "loud"},
      {{"demo", "--app", empty.c_str(), "--out", out.c_str()}, "has no audio"},
      {{"demo", "--app", damaged.c_str(), "--out", out.c_str()}, "can't be decoded"},
      {{"demo", "--app", helper.c_str(), "--out", out.c_str()}, ".helper"},
      {{"demo", "--app", good.c_str(), "--out", "/proc"}, "The recordings folder /proc can't be used"},
      {{"demo", "--app", good.c_str(), "--out", ""}, "--out"},
      {{"settings", "get", ""}, "KEY is empty"},
      {{"settings", "set", "", "1"}, "KEY is empty"},
      {{"settings", "set", "recording.bitDepth", "99"}, "use int16, int24 or float32"},
      {{"settings", "set", "recording.bitdepth", "int24"}, "did you mean recording.bitDepth?"},
      {{"settings", "set", "sonmere.recordingsFolderPath", "/proc"}, "/proc can't be written to"},
      {{"settings", "reset", "foo"}, "there is no setting \"foo\""},
      {{"settings", "set", "deep", deep.c_str()}, "\"deep\" is nested too deeply"},
      {{"demo", "--nonsense"}, "--nonsense"},
      {{"run", "--platform", "tape"}, "tape"},
      {{"run", "--route", "a=1"}, "bus 1"},
      {{"run", "--route", "a=2", "--route", "a=3"}, "given twice"},
      {{"run", "--volume", "a=loud"}, "loud"},
      {{"run", "--record", "off"}, "\"off\" is not a bus"},
      {{"run", "--volume", "a=30"}, "write 30% or 0.3"},
      {{"run", "--volume", "a=+5%"}, "is a step"},
      {{"run", "--for", "0"}, "--for 0"},
      {{"run", "--out", ""}, "--out"},
      {{"run", "--no-control", "--platform", "simulated", "--record", "2", "--out", "/proc"}, "/proc"},
      {{"volume", "a", "loud"}, "\"loud\" is not a volume"},
      {{"limit", "a", "low"}, "\"low\" is not a ceiling"},
      {{"eq", "a", "treble:3"}, "treble"},
      {{"route", "a", "1"}, "bus 1"},
      {{"mixer", "maybe"}, "maybe"},
      {{"completion", "tcsh"}, "tcsh"},
      {{"nonsense"}, "nonsense"},
      {{"settings"}, "say what to do: get, set, reset, list, export, import"},
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
  EXPECT_EQ(run({"settings", "get", "sonmere.boostAllowed"}).out, "true\n") << "what holds without it";
  EXPECT_EQ(run({"settings", "set", "sonmere.boostAllowed", "off"}).status, 0);
  EXPECT_EQ(run({"settings", "set", "name", "plain words", "--force"}).status, 0);
  EXPECT_EQ(run({"settings", "set", "record", R"({"a":1})", "--data", "--force"}).status, 0);
  EXPECT_EQ(run({"settings", "get", "sonmere.boostAllowed"}).out, "false\n");
  EXPECT_EQ(run({"settings", "get", "name"}).out, "plain words\n");
  EXPECT_EQ(run({"settings", "get", "record"}).out, "{\"a\":1}\n");
  const std::string list = run({"settings", "list"}).out;
  for (const char* line : {"wav or m4a ", "(changed; without it true)", "  13 bytes", "  7 bytes"})
    EXPECT_NE(list.find(line), std::string::npos) << list;
  const auto all = nlohmann::json::parse(run({"settings", "list", "--json"}).out)["settings"];
  const auto boost =
      std::ranges::find(all, "sonmere.boostAllowed", [](const auto& each) { return each["key"]; });
  EXPECT_EQ((*boost)["value"], false);
  EXPECT_EQ((*boost)["default"], true);
  EXPECT_EQ(run({"settings", "reset", "sonmere.boostAllowed"}).status, 0);
  EXPECT_EQ(run({"settings", "get", "sonmere.boostAllowed"}).out, "true\n");
  EXPECT_EQ(run({"settings", "reset", "name"}).status, 0);
  const auto gone = run({"settings", "get", "name"});
  EXPECT_EQ(gone.status, 1);
  EXPECT_TRUE(isOneLine(gone.err));
  unsetenv("SONMERE_SETTINGS");
}

// All of a file or nothing; what was before can be had back; what is true of one machine alone stays there.
TEST_F(CommandLineTest, SettingsGoToAnotherMachineAndAreTakenBack) {
  const std::string settings = path("settings.json"), file = path("mine.json"), bad = path("bad.json");
  setenv("SONMERE_SETTINGS", settings.c_str(), 1);
  std::ofstream(settings) << R"({"sonmere.boostAllowed":false,"didAutoRegisterLoginItem":true,"odd":1,)"
                          << R"("sonmere.pluginChainTrusted.mic":true,"sonmere.perapp.buses":{"a":2}})";
  ASSERT_EQ(run({"settings", "export", file.c_str()}).status, 0);
  const auto exported = nlohmann::json::parse(std::ifstream(file));
  EXPECT_EQ(exported["settings"].dump(), R"({"sonmere.boostAllowed":false,"sonmere.perapp.buses":{"a":2}})");
  for (
      const char* text :
      {"", "[]", R"({"format":"other"})", R"({"format":"sonmere-settings","version":9,"settings":{}})",
       R"({"sonmere.boostAllowed":false,"sonmere.volumeMixer.masterVolume":99})",
       R"({"sonmere.boostAllowed":true,"sonmere.pluginChain.mic":{"$data":"e30K"},"sonmere.outputEQ":{"$data":"e3s="}})"}) {
    std::ofstream(bad) << text;
    EXPECT_EQ(run({"settings", "import", bad.c_str()}).status, 2) << text;
  }
  EXPECT_EQ(run({"settings", "get", "sonmere.boostAllowed"}).out, "false\n") << "nothing of them was taken";
  std::ofstream(bad) << R"({"format":"sonmere-settings","version":1,"settings":{"recording.format":"m4a",)"
                     << R"("sonmere.pluginChainTrusted.app":true,"later":1,"launchAtLogin":true}})";
  const auto imported = run({"settings", "import", bad.c_str()});
  EXPECT_EQ(imported.status, 0) << imported.err;
  EXPECT_NE(imported.err.find("does not know it: later\n"), std::string::npos);
  const auto now = nlohmann::json::parse(std::ifstream(settings));
  EXPECT_EQ(now.dump(), R"({"didAutoRegisterLoginItem":true,"odd":1,"recording.format":"m4a",)"
                        R"("sonmere.pluginChainTrusted.mic":true})");
  EXPECT_EQ(run({"reset", "--all"}).status, 0);
  EXPECT_EQ(nlohmann::json::parse(std::ifstream(settings)).dump(), "{}");
  std::vector<std::string> backups;
  for (const auto& entry : std::filesystem::directory_iterator(path("")))
    if (entry.path().string().contains(".backup-")) backups.push_back(entry.path());
  std::ranges::sort(backups);
  ASSERT_EQ(backups.size(), 2u);
  EXPECT_EQ(run({"settings", "import", backups[0].c_str()}).status, 0);
  EXPECT_EQ(run({"settings", "get", "sonmere.boostAllowed"}).out, "false\n");
  unsetenv("SONMERE_SETTINGS");
}

TEST_F(CommandLineTest, WhatTheProgramHasLeftIsShownAndRemovedButForRecordings) {
  const std::string takes = path("XDG_STATE_HOME/sonmere/takes"),
                    service = path("XDG_CONFIG_HOME/systemd/user");
  std::filesystem::create_directories(takes);
  std::filesystem::create_directories(path("XDG_CONFIG_HOME/sonmere"));
  std::ofstream(takes + "/a.wav") << "audio";
  std::ofstream(path("XDG_CONFIG_HOME/sonmere/settings.json.backup-1")) << "{}";
  ASSERT_EQ(run({"settings", "set", "sonmere.recordingsFolderPath", takes.c_str()}).status, 0);
  ASSERT_EQ(run({"login-item", "on"}).status, 0);
  EXPECT_EQ(run({"uninstall"}).status, 2) << "not without being meant";
  const std::string notes = path("XDG_CONFIG_HOME/sonmere/settings.json.notes");
  std::ofstream(notes) << "the user's";
  const auto shown = run({"uninstall", "--dry-run"}).out;
  EXPECT_EQ(shown.find(notes), std::string::npos) << "not the program's";
  std::filesystem::remove(notes);
  for (const char* what : {"settings.json.backup-1", "autostart", "stays: recordings are in it"})
    EXPECT_NE(shown.find(what), std::string::npos) << shown;
  EXPECT_TRUE(std::filesystem::exists(path("XDG_CONFIG_HOME/sonmere/settings.json")));
  EXPECT_EQ(run({"uninstall", "--yes"}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(path("XDG_CONFIG_HOME/sonmere")));
  EXPECT_TRUE(std::filesystem::is_empty(path("XDG_CONFIG_HOME/autostart")));
  EXPECT_TRUE(std::filesystem::exists(takes + "/a.wav"));
}

TEST_F(CommandLineTest, PresetsOfOthersAreReadCheckedAndKept) {
  const std::string text = path("room.txt"), bad = path("bad.json");
  std::ofstream(text) << "Preamp: -3 dB\nFilter 1: ON PK Fc 100 Hz Gain -2 dB Q 1\n";
  const auto imported = run({"preset", "import", text.c_str(), "Room"});
  EXPECT_EQ(imported.status, 0) << imported.err;
  EXPECT_TRUE(imported.out.starts_with("Room: bell:100:-2:1\n")) << imported.out;
  EXPECT_EQ(imported.err, "sonmere preset import: the preamp of -3 dB is left out: the volume does that\n");
  EXPECT_EQ(run({"preset", "import", text.c_str(), "Room"}).status, 2) << "it exists";
  EXPECT_NE(run({"preset", "list"}).out.find("Room"), std::string::npos);
  for (const char* damaged :
       {"{}", "no filter", R"({"format":"sonmere-preset","version":2})",
        R"({"format":"sonmere-preset","version":1,"kind":"equaliser","equaliser":{"bellDb":"loud"}})",
        R"({"format":"sonmere-preset","version":1,"kind":"routing","apps":[{"app":"a","bus":99}]})"}) {
    std::ofstream(bad) << damaged;
    const auto shown = run({"preset", "show", bad.c_str()});
    EXPECT_EQ(shown.status, 2) << damaged;
    EXPECT_NE(shown.err.find("bad.json can't be used: "), std::string::npos) << shown.err;
  }
  EXPECT_EQ(run({"preset", "load", "Nowhere", "mic"}).err,
            "sonmere preset load: there is no preset \"Nowhere\"\n");
  EXPECT_NE(run({"rule", "add", "--when", "moon=full", "--do", "mute a on"}).err.find("use app=ID"),
            std::string::npos);
  EXPECT_NE(run({"rule", "add", "--when", "mic=on", "--do", "volume \"My App\" 30"}).err.find("30%"),
            std::string::npos);
}

TEST_F(CommandLineTest, ADamagedSettingsFileIsSetAsideWithOneWarning) {
  setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
  std::ofstream(path("settings.json")) << "garbage";
  const auto result = run({"settings", "list"});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(isOneLine(result.err)) << result.err;
  EXPECT_NE(result.err.find(path("settings.json") + " is damaged"), std::string::npos) << result.err;
  EXPECT_NE(result.err.find(path("settings.json.bad")), std::string::npos) << result.err;
  EXPECT_EQ(run({"settings", "list"}).err, "");
  unsetenv("SONMERE_SETTINGS");
}

TEST_F(CommandLineTest, SettingsThatCantBeReadOrWrittenAreOneLineAndStatus1) {
  std::ofstream(path("plain")) << "a file";
  const std::string cases[] = {folder.path().string(), "/proc/none/settings.json"};
  for (const std::string& file : cases) {
    setenv("SONMERE_SETTINGS", file.c_str(), 1);
    std::vector<std::vector<const char*>> commands = {{"settings", "set", "k", "1", "--force"}};
    if (file == cases[0])
      commands.insert(
          commands.end(),
          {{"settings", "list"}, {"settings", "get", "k"}, {"settings", "reset", "sonmere.boostAllowed"}});
    for (const auto& arguments : commands) {
      const auto result = run(arguments);
      EXPECT_EQ(result.status, 1) << file << " " << arguments[1];
      EXPECT_TRUE(isOneLine(result.err)) << result.err;
      EXPECT_EQ(result.out, "");
    }
  }
  unsetenv("SONMERE_SETTINGS");
}

TEST_F(CommandLineTest, AnAppThatFallsSilentIsAProblemInTheReport) {
  const std::string app = "a=" + makeDamagedFLAC(0.5), good = "b=" + makeFile("g.wav"), out = path("out");
  const auto result = run({"demo", "--app", app.c_str(), "--app", good.c_str(), "--seconds", "3", "--out",
                           out.c_str(), "--json"});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(isOneLine(result.err)) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_NE(std::string(report["problem"]).find(path("bad.flac")), std::string::npos) << report["problem"];
  ASSERT_EQ(report["files"].size(), 2u);
  for (const auto& file : report["files"]) EXPECT_NEAR(double(file["frames"]), 3 * 48000, 2048);
}

// Everything above the limit fails to be written, as on a full disk.
TEST_F(CommandLineTest, AFullDiskEndsTheDemoAndTheFilesAreStillReported) {
  const std::string app = "a=" + makeFile("in.wav"), out = path("out");
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  rlimit small = before;
  small.rlim_cur = 300'000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  const auto result = run({"demo", "--app", app.c_str(), "--volume", "a=0.7", "--seconds", "600", "--out",
                           out.c_str(), "--json"});
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(isOneLine(result.err)) << result.err;
  EXPECT_NE(result.out.find("\"volume\": 0.7,"), std::string::npos) << "as it was given";
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_TRUE(std::string(report["problem"]).starts_with("Recording stopped: ")) << report["problem"];
  ASSERT_EQ(report["files"].size(), 1u);
  const std::int64_t frames = report["files"][0]["frames"];
  EXPECT_GT(frames, 60'000);
  EXPECT_LE(frames, 75'000);
}

TEST_F(CommandLineTest, OutputThatCantBeWrittenIsAFailure) {
  setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
  ASSERT_EQ(run({"settings", "set", "k", std::string(100'000, 'x').c_str(), "--force"}).status, 0);
  // In one go at the end, and more than fits the buffer.
  for (const std::vector<const char*>& arguments :
       {std::vector{"sonmere", "--version"}, std::vector{"sonmere", "settings", "get", "k"}}) {
    std::fflush(stdout);
    const int saved = dup(STDOUT_FILENO), full = open("/dev/full", O_WRONLY);
    ASSERT_GE(dup2(full, STDOUT_FILENO), 0);
    testing::internal::CaptureStderr();
    const int status = runCommandLine(int(arguments.size()), arguments.data());
    const std::string text = testing::internal::GetCapturedStderr();
    std::clearerr(stdout);
    std::cout.clear();
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(full);
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(isOneLine(text)) << text;
    EXPECT_NE(text.find(arguments.size() == 2 ? "standard output" : "No space left"), std::string::npos)
        << text;
  }
  unsetenv("SONMERE_SETTINGS");
}

// The program in a process of its own gets the signal once its file is there.
TEST_F(CommandLineTest, ASignalEndsTheDemoEarlyWithItsFilesComplete) {
  const std::string app = "a=" + makeFile("in.wav"), out = path("out"), text = path("report.json");
  std::filesystem::create_directory(out);
  for (const int signal : {SIGINT, SIGTERM}) {
    const int watch = inotify_init1(IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, out.c_str(), IN_MODIFY), 0);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      if (!std::freopen(text.c_str(), "w", stdout)) _exit(99);
      const char* const arguments[] = {"sonmere", "demo",      "--app", app.c_str(), "--live",
                                       "--json",  "--seconds", "3600",  "--out",     out.c_str()};
      _exit(runCommandLine(int(std::size(arguments)), arguments));
    }
    char events[4096];
    ASSERT_GT(read(watch, events, sizeof events), 0);
    close(watch);
    ASSERT_EQ(kill(child, signal), 0);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 128 + signal);
    std::ifstream report(text);
    const auto files = nlohmann::json::parse(report)["files"];
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ((*openAudioFile(files[0]["path"]))->frameCount(), std::int64_t(files[0]["frames"]));
  }
}

// With settings, state and socket of its own.
class RunTest : public CommandLineTest {
 protected:
  RunTest() {
    setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
    setenv("SONMERE_RESOURCES", SONMERE_SOURCE_DIR "/resources", 1);
  }
  ~RunTest() override { unsetenv("SONMERE_SETTINGS"); }
};

TEST_F(RunTest, ItRoutesRecordsAndReportsAsJSON) {
  const std::string out = path("out");
  const auto result = run({"run", "--platform", "simulated", "--demo-apps", "--route", "music=track1",
                           "--route", "later=Track 2", "--volume", "music=-6dB", "--record", "Track 1",
                           "--out", out.c_str(), "--for", "1", "--json"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto report = nlohmann::json::parse(result.out);
  EXPECT_EQ(report["platform"], "simulated");
  EXPECT_EQ(report["routes"][0]["armed"], true);
  EXPECT_EQ(report["routes"][1]["armed"], false);
  ASSERT_EQ(report["recordings"].size(), 1u);
  const auto recording = report["recordings"][0];
  EXPECT_GT(recording["frames"], 0);
  EXPECT_EQ((*openAudioFile(std::string(recording["path"])))->frameCount(),
            std::int64_t(recording["frames"]));
  EXPECT_EQ(std::filesystem::path(std::string(recording["path"])).parent_path(), out);
  EXPECT_FALSE(std::filesystem::exists(path("settings.json")))
      << "what is tried out on an invented machine stays there";
}

// The program in a process of its own; it is ready once it has printed its first line.
TEST_F(RunTest, CommandsTalkToTheProgramThatRunsAndASignalEndsIt) {
  const auto absent = run({"status"});
  EXPECT_EQ(absent.status, 1);
  EXPECT_NE(absent.err.find("sonmere run"), std::string::npos) << "says how to start it";
  int output[2];
  ASSERT_EQ(pipe(output), 0);
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    dup2(output[1], STDOUT_FILENO);
    close(output[0]);
    close(output[1]);
    const char* const arguments[] = {"sonmere", "run", "--platform", "simulated", "--demo-apps"};
    _exit(runCommandLine(int(std::size(arguments)), arguments));
  }
  close(output[1]);
  // Whatever fails below, no child keeps the test's output open.
  pid_t alive = child;
  const std::unique_ptr<pid_t, void (*)(pid_t*)> ended(&alive, [](pid_t* pid) {
    if (*pid > 0) kill(*pid, SIGKILL);
  });
  char text[4096];
  ASSERT_GT(read(output[0], text, sizeof text), 0);
  EXPECT_NE(run({"volume", "mus", "+50%"}).out.find("150 %"), std::string::npos);
  const auto held = run({"volume", "mus", "900%", "--json"});
  EXPECT_EQ(nlohmann::json::parse(held.out)["volume"], 4.0);
  EXPECT_EQ(nlohmann::json::parse(held.err)["note"]["message"], "volume held to 400 %");
  EXPECT_EQ(run({"volume", "e", "50%"}).status, 2) << "several apps fit";
  EXPECT_EQ(run({"apps", "--ids"}).out, "music\nbeat\nspeech\n");
  EXPECT_NE(run({"__complete", "volume", "mu"}).out.find("\nmusic\tmusic\n"), std::string::npos);
  EXPECT_NE(run({"__complete", "mic", "select", ""}).out.find("\t"), std::string::npos) << "a device";
  EXPECT_EQ(run({"input", "add", "1", "--name", "Second voice"}).status, 0);
  EXPECT_NE(run({"__complete", "input", "remove", "Sec"}).out.find("\nSecond voice"), std::string::npos);
  EXPECT_EQ(run({"plugin", "add", "bus:track1", "urn:sonmere:gain"}).status, 0);
  EXPECT_NE(run({"__complete", "plugin", "bypass", "bus:track1", ""}).out.find("\n1\tGain\n"),
            std::string::npos);
  EXPECT_NE(run({"__complete", "plugin", "set", "bus:2", "gai", "g"}).out.find("\ngain\tGain, -90 to 24 dB"),
            std::string::npos);
  EXPECT_NE(run({"__complete", "plugin", "preset", "bus:2", "1", ""}).out.find("\nHalf\n"),
            std::string::npos);
  EXPECT_NE(run({"status"}).out.find("Microphone off, 1 more input; 1 plug-in in 1 chain.\n"),
            std::string::npos);
  const auto watched = run({"watch", "--count", "2", "--json"});
  EXPECT_EQ(std::ranges::count(watched.out, '\n'), 2);
  EXPECT_EQ(run({"settings", "set", "sonmere.volumeMixer.masterVolume", "0.5"}).status, 0);
  EXPECT_NE(run({"master"}).out.find("master 50 %"), std::string::npos) << "at once";
  EXPECT_EQ(run({"settings", "get", "sonmere.volumeMixer.masterVolume"}).out, "0.5\n");
  EXPECT_EQ(run({"settings", "set", "sonmere.volumeMixer.masterVolume", "3"}).status, 2);
  const std::string takes = path("takes\xFF");
  EXPECT_EQ(run({"recordings", "folder", takes.c_str()}).status, 0);
  EXPECT_EQ(run({"settings", "get", "sonmere.recordingsFolderPath"}).out, takes + "\n") << "paths are bytes";
  EXPECT_EQ(run({"route", "beat", "track1"}).status, 0);
  EXPECT_EQ(run({"record", "start", "track1"}).status, 0);
  EXPECT_FALSE(std::filesystem::is_empty(takes)) << "the folder is in use from now on";
  EXPECT_EQ(run({"record", "stop", "track1"}).status, 0);
  EXPECT_EQ(run({"recordings", "folder", "--default"}).status, 0);
  setenv("SONMERE_SETTINGS", path("other.json").c_str(), 1);
  EXPECT_EQ(run({"settings", "set", "sonmere.volumeMixer.masterVolume", "1.5"}).status, 0);
  setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
  EXPECT_NE(run({"master"}).out.find("master 50 %"), std::string::npos) << "other settings are none of its";
  EXPECT_EQ(run({"volume", "nosuch"}).err,
            "sonmere volume: there is no app \"nosuch\"; sonmere apps lists those there are\n");
  EXPECT_EQ(run({"profile", "apply", "nosuch"}).err,
            "sonmere profile apply: there is no profile \"nosuch\"\n");
  EXPECT_EQ(run({"mixer", "off"}).status, 0);
  EXPECT_TRUE(run({"volume", "music", "50%"}).err.ends_with("; turn it on with: sonmere mixer on\n"));
  EXPECT_EQ(run({"routing", "off"}).status, 0);
  EXPECT_TRUE(run({"route", "music", "2"}).err.ends_with("; turn it on with: sonmere routing on\n"));
  const auto second = run({"run", "--platform", "simulated"});
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.err, "sonmere run: Sonmere is running already (process " + std::to_string(child) + ")\n");
  ASSERT_EQ(kill(child, SIGTERM), 0);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  alive = 0;
  EXPECT_EQ(WEXITSTATUS(status), 0) << "a service that was told to end has done what it should";
  EXPECT_EQ(run({"status"}).status, 1);
  close(output[0]);
}

TEST_F(CommandLineTest, CompletionAndManualKnowEveryCommand) {
  EXPECT_EQ(run({"__complete", "rec"}).out.substr(0, 25), "none 0 space\nrecord\tRecor");
  EXPECT_EQ(run({"__complete", "run", "--plat"}).out.substr(0, 24), "none 0 space\n--platform\t");
  for (const auto& [shell, word] :
       {std::pair{"bash", "complete -F"}, {"zsh", "#compdef"}, {"fish", "complete -c"}})
    EXPECT_NE(run({"completion", shell}).out.find(word), std::string::npos) << shell;
  const std::string manual = run({"man"}).out;
  EXPECT_NE(manual.find("recording.bitDepth"), std::string::npos) << "the table of settings";
  EXPECT_NE(manual.find("\n.B track1 to track8, \\(dqTrack 1\\(dq\n"), std::string::npos);
  EXPECT_TRUE(manual.starts_with(".TH SONMERE 1"));
  const std::string record = run({"man", "record"}).out;
  EXPECT_NE(record.find(".SS sonmere record start [BUS"), std::string::npos);
  EXPECT_NE(record.find(".B sonmere record mark Chorus\n"), std::string::npos);
  EXPECT_NE(record.find(".BR sonmere\\-profile (1)"), std::string::npos) << "what it is listed with";
}

// What the manual shows is what the parser takes, and every command is shown.
TEST_F(CommandLineTest, TheManualsExamplesCanBeTyped) {
  ASSERT_EQ(run({"man", "--all", path("").c_str()}).status, 0);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(path(""));
  int pages = 0;
  for (const auto& entry : std::filesystem::directory_iterator(path(""))) {
    if (entry.path().extension() != ".1") continue;
    ++pages;
    std::ifstream file(entry.path());
    const std::string page(std::istreambuf_iterator<char>(file), {});
    const auto examples = page.find(".SH EXAMPLES\n");
    ASSERT_NE(examples, std::string::npos) << entry.path();
    std::istringstream lines(page.substr(examples, page.find(".SH", examples + 4) - examples));
    for (std::string line; std::getline(lines, line);) {
      if (!line.starts_with(".B sonmere ")) continue;
      for (const auto& [from, to] : {std::pair{"\\-", "-"}, {"\\(dq", "\""}})
        for (auto at = line.find(from); at != std::string::npos; at = line.find(from))
          line.replace(at, std::string_view(from).size(), to);
      std::vector<std::string> words;
      std::istringstream text(line.substr(11));
      for (std::string each; text >> std::quoted(each);) words.push_back(each);
      // These would do it.
      if (words.empty() ||
          std::set<std::string>{"run", "demo", "service", "driver", "feedback"}.contains(words[0]))
        continue;
      std::vector<const char*> arguments;
      for (const std::string& each : words) arguments.push_back(each.c_str());
      EXPECT_EQ(run(arguments).err.find("see sonmere help"), std::string::npos) << line;
    }
  }
  std::filesystem::current_path(before);
  EXPECT_GT(pages, 45);
}

TEST_F(CommandLineTest, HelpAndVersionGoToStandardOutput) {
  EXPECT_EQ(run({"--version"}).out.substr(0, 8), "sonmere ");
  EXPECT_NE(run({"demo", "--help"}).out.find("--route"), std::string::npos);
  const auto all = run({"--help"});
  EXPECT_EQ(all.status, 0);
  for (const char* command : {"run", "demo", "volume", "watch", "completion"})
    EXPECT_NE(all.out.find(command), std::string::npos) << command;
}

}  // namespace
}  // namespace sonmere
