#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>

#include "audio/file/AudioFileWriter.h"
#include "cli/CommandLine.h"
#include "support/JSONSchema.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

// What each command prints with --json is what docs/json/ says.
class JSONOutputTest : public testing::Test {
 protected:
  struct Run {
    int status;
    std::string out, err;
  };

  JSONOutputTest() {
    for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME", "XDG_DATA_HOME",
                             "XDG_RUNTIME_DIR"}) {
      fs::create_directory(path(name));
      fs::permissions(path(name), fs::perms::owner_all);
      setenv(name, path(name).c_str(), 1);
    }
    setenv("SONMERE_SETTINGS", path("settings.json").c_str(), 1);
    setenv("LV2_PATH", path("plug-ins").c_str(), 1);
    setenv("SONMERE_RESOURCES", SONMERE_SOURCE_DIR "/resources", 1);
    // No service manager of the user's is asked.
    fs::create_directory(path("bin"));
    std::ofstream(path("bin/systemctl")) << "#!/bin/sh\n";
    fs::permissions(path("bin/systemctl"), fs::perms::owner_all);
    setenv("PATH", (path("bin") + ":" + getenv("PATH")).c_str(), 1);
    fs::create_directory(path("takes"));
    makeFile("Sonmere Track 1 — 2026-01-31 20-15-00.wav");
  }
  ~JSONOutputTest() override { unsetenv("SONMERE_SETTINGS"); }

  std::string path(const std::string& name) const { return (folder / name).string(); }
  std::string take(const std::string& name) const { return path("takes/" + name); }
  void makeFile(const std::string& name) {
    auto file = createAudioFile(take(name), {.sampleRate = 48000, .channels = 2, .bitDepth = 16});
    PCMBuffer block((*file)->processingFormat(), 48000);
    block.setFrameLength(48000);
    for (std::uint32_t i = 0; i < 48000; ++i) block.channel(0)[i] = 0.25f;
    EXPECT_TRUE((*file)->write(block));
    EXPECT_TRUE((*file)->close());
  }
  Run run(const std::vector<std::string>& words) {
    std::vector<const char*> arguments = {"sonmere"};
    for (const std::string& word : words) arguments.push_back(word.c_str());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int status = runCommandLine(int(arguments.size()), arguments.data());
    return {status, testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr()};
  }
  static std::string mismatch(const std::string& schema, const std::string& text) {
    const auto value = nlohmann::json::parse(text, nullptr, false);
    if (value.is_discarded()) return "no JSON: " + text;
    return JSONSchema(SONMERE_SOURCE_DIR "/docs/json/" + schema + ".schema.json").check(value);
  }
  // What the program offers where the last of these words is to be completed.
  std::vector<std::string> candidates(std::vector<std::string> words) {
    words.insert(words.begin(), "__complete");
    std::istringstream lines(run(words).out);
    std::vector<std::string> found;
    std::string line;
    for (std::getline(lines, line); std::getline(lines, line);)
      found.push_back(line.substr(0, line.find('\t')));
    return found;
  }
  // The commands below that take --json and were not run with it.
  std::string unchecked(const std::vector<std::string>& path = {}) {
    std::string missing;
    std::vector<std::string> below{"help"};
    below.insert(below.end(), path.begin(), path.end());
    below.emplace_back();
    for (const std::string& name : candidates(below)) {
      std::vector<std::string> command = path, option = path;
      command.push_back(name);
      option.insert(option.end(), {name, "--json"});
      const std::string words = fmt::format("{} ", fmt::join(command, " "));
      const bool wasRun =
          std::ranges::any_of(run_, [&](const std::string& each) { return each.starts_with(words); });
      if (!wasRun && !candidates(option).empty()) missing += words + "\n";
      missing += unchecked(command);
    }
    return missing;
  }
  void expectForm(const std::string& schema, std::vector<std::string> words,
                  const std::set<int>& statuses = {0}) {
    words.push_back("--json");
    run_.push_back(fmt::format("{}", fmt::join(words, " ")));
    const Run result = run(words);
    EXPECT_TRUE(statuses.contains(result.status)) << words[0] << ": " << result.status << result.err;
    EXPECT_EQ(mismatch(schema, result.out), "") << words[0] << "\n" << result.out;
    checked_.insert(schema);
  }
  void expectError(const std::string& code, int status, std::vector<std::string> words) {
    words.push_back("--json");
    run_.push_back(fmt::format("{}", fmt::join(words, " ")));
    const Run result = run(words);
    EXPECT_EQ(result.status, status) << words[0];
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(mismatch("error", result.err), "") << result.err;
    EXPECT_EQ(nlohmann::json::parse(result.err, nullptr, false)["error"]["code"], code) << result.err;
    checked_.insert("error");
  }
  // As a packager would add it.
  void withResource(const std::string& name, const std::string& text, const std::function<void()>& work) {
    fs::create_directory(path("resources"));
    std::ofstream(path("resources/" + name)) << text;
    std::ofstream(path("feed.json"))
        << R"({"version":"99.1","url":"https://example.invalid","notes":"More"})";
    setenv("SONMERE_RESOURCES", path("resources").c_str(), 1);
    work();
    setenv("SONMERE_RESOURCES", SONMERE_SOURCE_DIR "/resources", 1);
  }
  // The program in a process of its own, until `stop`.
  void start() {
    int output[2];
    ASSERT_EQ(pipe(output), 0);
    std::fflush(stdout);
    child_ = fork();
    if (child_ == 0) {
      dup2(output[1], STDOUT_FILENO);
      for (const int end : output) close(end);
      const std::string takes = path("takes");
      const char* const arguments[] = {"sonmere",     "run",   "--platform", "simulated",
                                       "--demo-apps", "--out", takes.c_str()};
      _exit(runCommandLine(int(std::size(arguments)), arguments));
    }
    close(output[1]);
    char text[4096];
    EXPECT_GT(read(output[0], text, sizeof text), 0) << "it is ready";
    pipe_ = output[0];
  }
  void stop() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    close(pipe_);
  }

  TemporaryFolder folder;
  std::set<std::string> checked_;
  std::vector<std::string> run_;
  pid_t child_ = 0;
  int pipe_ = -1;
};

TEST_F(JSONOutputTest, EveryFormIsTheDocumentedOne) {
  const std::string file = take("Sonmere Track 1 — 2026-01-31 20-15-00.wav"), takes = path("takes");
  expectForm("info", {"info", file});
  expectForm("info", {"info", file, file, "--loudness"});
  expectForm("waveform", {"waveform", file, "--png", path("a.png")});
  expectForm("edit", {"edit", file, "--trim", "0:0.5", "--save", path("b.wav"), "--loudness"});
  expectForm("session", {"session", "show", "2026-01-31", "--folder", takes, "--loudness"});
  expectForm("session", {"session", "edit", "2026-01-31", "--all", "--gain", "-3", "--folder", takes});
  expectForm("session-export",
             {"session", "export", "2026-01-31", "--folder", takes, "--out", path("c.wav")});
  expectForm("recordings-list", {"recordings", "--folder", takes});
  expectForm("recordings-list", {"recordings", "list", "--folder", takes});
  expectForm("recordings-list", {"recordings", "scan", "--folder", takes});
  expectForm("recordings-repair", {"recordings", "repair", "--folder", takes});
  expectForm("path", {"recordings", "import", file, "--folder", takes});
  expectForm("path", {"recordings", "rename", "latest", "Talk", "--folder", takes});
  expectForm("paths", {"recordings", "delete", file, "1", "--folder", takes});
  expectForm("paths", {"recordings", "restore", "20", "--folder", takes});
  expectForm("recordings-folder", {"recordings", "folder"});
  expectForm("settings", {"settings", "list"});
  expectForm("reset", {"reset", "--routes"});
  expectForm("uninstall", {"uninstall", "--dry-run"});
  withResource("update-feed", path("feed.json") + "\n", [&] { expectForm("update", {"update", "check"}); });
  expectForm("login-item", {"login-item", "status"});
  for (const char* change : {"on", "off"}) expectForm("login-item", {"login-item", change});
  for (const char* act : {"enable", "status", "disable"}) expectForm("service", {"service", act});
  expectForm("driver", {"driver", "status"}, {4});
  expectForm("driver-remove", {"driver", "remove"});
  expectForm("doctor", {"doctor"}, {3, 4});
  expectForm("demo", {"demo", "--app", "a=" + file, "--seconds", "1", "--out", path("demo")});
  expectForm("run", {"run", "--platform", "simulated", "--demo-apps", "--route", "music=track1", "--record",
                     "track1", "--out", takes, "--for", "0.5"});
  expectError("notRunning", 1, {"status"});
  expectError("badInput", 2, {"volume", "music", "30"});
  expectError("badInput", 2, {"volum", "music"});
  expectError("badInput", 2, {"info", path("missing.wav")});
  start();
  expectForm("status", {"status"});
  expectForm("apps", {"apps"});
  expectForm("removed-apps", {"apps", "--removed"});
  for (const std::vector<std::string>& change :
       std::vector<std::vector<std::string>>{{"volume", "music"},
                                             {"volume", "music", "50%"},
                                             {"mute", "music", "off"},
                                             {"eq", "music", "hp:80"},
                                             {"eq", "music"},
                                             {"limit", "music", "-3"},
                                             {"output", "music", "headset"},
                                             {"route", "music", "track1"},
                                             {"pin", "music"},
                                             {"unpin", "music"},
                                             {"direct", "speech", "on"},
                                             {"hide", "speech"},
                                             {"unhide", "speech"},
                                             {"remove", "beat"},
                                             {"unhide", "beat"}})
    expectForm("app", change);
  expectError("badInput", 2, {"automatic", "music"});
  for (const char* command : {"mixer", "master", "output-eq", "boost"}) expectForm("mixer", {command});
  expectForm("preset", {"preset", "save", "app:music", "Voice"});
  expectForm("preset", {"preset", "save", "routing", "Here"});
  expectForm("preset", {"preset", "load", "Here"});
  expectForm("presets", {"preset", "list"});
  expectForm("preset", {"preset", "show", "Voice"});
  expectForm("preset", {"preset", "import", path("XDG_DATA_HOME/sonmere/presets/Voice.json"), "Other"});
  expectForm("rule", {"rule", "add", "--when", "mic=on", "--do", "profile apply Here"});
  expectForm("rules", {"rule", "list"});
  expectForm("rule", {"rule", "enable", "1", "off"});
  expectForm("rule", {"rule", "remove", "1"});
  expectError("notFound", 2, {"rule", "remove", "1"});
  expectForm("usage", {"usage", "on"});
  expectForm("usage", {"usage"});
  expectForm("routing", {"routing"});
  expectForm("routing", {"bus"});
  expectForm("bus", {"bus", "track1", "name", "Drums"});
  expectForm("bus", {"bus", "drums", "eq", "hp:80"});
  expectForm("devices", {"devices"});
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"mic", "on"},
                                             {"mic", "status"},
                                             {"mic", "select", "headset"},
                                             {"mic", "volume", "50%"},
                                             {"mic", "channels", "1"},
                                             {"mic", "eq", "hp:80"},
                                             {"mic", "limit", "-3"},
                                             {"mic", "send", "track2", "50%"},
                                             {"input", "add", "1"},
                                             {"input", "list"},
                                             {"input", "set", "1", "--volume", "50%"},
                                             {"input", "remove", "1"},
                                             {"mic", "off"},
                                             {"input-lock", "headset"},
                                             {"input-lock"}})
    expectForm("input", command);
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"monitor", "app", "music", "on"},
                                             {"monitor", "app", "music", "-6dB"},
                                             {"monitor", "link", "music", "on"},
                                             {"monitor", "bus", "track1", "50%"},
                                             {"monitor", "mic", "on"},
                                             {"mic", "monitor", "+5%"},
                                             {"monitor", "device", "headset"},
                                             {"monitor", "device", "default"},
                                             {"monitor", "off"},
                                             {"monitor", "on"},
                                             {"monitor", "status"}})
    expectForm("monitor", command);
  expectForm("system", {"system", "on"});
  expectForm("system", {"system", "output", "headset"});
  for (const char* act : {"status", "reset", "off"}) expectForm("system", {"system", act});
  expectForm("system", {"system", "follow", "on"});
  expectForm("mix", {"mix", "on"});
  expectForm("mix", {"mix", "catch-all", "50%"});
  expectForm("mix", {"mix", "hear", "music", "-6dB"});
  expectForm("mix", {"daw", "track", "3", "mute"});
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"mix", "stream", "music", "50%"},
                                             {"mix", "link", "music", "off"},
                                             {"mix", "audition", "on"},
                                             {"mix", "tracks", "on"},
                                             {"mix", "status"},
                                             {"mix", "off"}})
    expectForm("mix", command);
  expectForm("daw", {"daw", "on"});
  expectForm("daw", {"combine", "headset", "built-in mic", "--name", "Both"});
  expectForm("daw", {"combine", "--off"});
  for (const char* act : {"status", "reset", "off"}) expectForm("daw", {"daw", act});
  expectError("badInput", 2, {"combine", "headset"});
  expectError("badInput", 2, {"combine", "headset", "headset"});
  expectError("badInput", 2, {"combine", "headset", "built-in mic", "--name", "USB Headset"});
  expectError("badInput", 2, {"daw", "track", "9", "50%"});
  expectError("notFound", 2, {"system", "output", "nowhere"});
  expectError("notFound", 2, {"monitor", "device", "nowhere"});
  expectError("badInput", 2, {"monitor", "bus", "1", "on"});
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"routes"}, {"routes", "check"}, {"routes", "reset"}})
    expectForm("routes", command);
  expectForm("report-archive", {"report", "--archive", path("report.tar")});
  expectError("badInput", 2, {"report", "--archive", path("report.tar")});
  expectForm("driver-rate", {"driver", "rate", "48000"});
  expectForm("report", {"report"});
  expectForm("recordings", {"record", "start", "drums"});
  expectForm("recordings", {"record", "list"});
  expectForm("marks", {"record", "mark", "the chorus"});
  expectForm("levels", {"watch", "--count", "1"});
  expectForm("recordings", {"record", "stop", "drums"});
  expectForm("recording-health", {"record", "health"});
  run({"settings", "set", "record.preroll", "5"});
  expectForm("paths", {"record", "save-last", "1", "--folder", takes});
  run({"settings", "set", "record.preroll", "0"});
  expectForm("plugins", {"plugin", "list"});
  expectForm("plugins", {"plugin", "search", "gain", "simulation"});
  expectForm("plugin", {"plugin", "info", "urn:sonmere:gain"});
  expectForm("plugin-chain", {"plugin", "add", "app:music", "urn:sonmere:gain"});
  expectForm("plugin-chain", {"plugin", "set", "app:music", "1", "gain", "-6"});
  expectForm("plugin-chain", {"plugin", "preset", "app:music", "gain", "half"});
  expectForm("plugin-chain", {"plugin", "bypass", "app:music", "gain"});
  expectForm("plugin-chain", {"plugin", "save", "app:music", path("chain.json")});
  expectForm("plugin-chain", {"plugin", "load", "bus:track1", path("chain.json")});
  expectForm("plugin-chain", {"plugin", "add", "bus:track1", "urn:sonmere:delay", "--at", "1"});
  expectForm("plugin-chain", {"plugin", "move", "bus:track1", "delay", "2"});
  expectForm("plugin-chain", {"plugin", "trust", "bus:track1"});
  expectForm("plugin-chain", {"plugin", "remove", "bus:track1", "1"});
  expectForm("plugin-chain", {"plugin", "chain", "app:music"});
  expectForm("plugin-chains", {"plugin", "chain"});
  expectError("notFound", 2, {"plugin", "set", "app:music", "gain", "loudness", "1"});
  expectError("badInput", 2, {"plugin", "set", "app:music", "gain", "gain", "1000"});
  expectError("badInput", 2, {"plugin", "chain", "everything"});
  expectError("failed", 1, {"plugin", "add", "app:music", "urn:nobody"});
  expectForm("profile", {"profile", "save", "A"});
  expectForm("profiles", {"profile", "list"});
  expectForm("profile", {"profile", "apply", "A"});
  expectForm("profile", {"profile", "delete", "A"});
  expectError("notFound", 2, {"volume", "nobody"});
  expectError("ambiguous", 2, {"volume", "e", "50%"});
  const Run held = run({"volume", "music", "900%", "--json"});
  EXPECT_EQ(mismatch("note", held.err), "") << held.err;
  checked_.insert("note");
  expectForm("quit", {"quit"});
  stop();
  EXPECT_EQ(unchecked(), "recordings play \nsettings import \ndriver install \ndriver repair \n")
      << "all but these, which play, start the program anew or ask for rights, have a case here";
  for (const auto& entry : fs::directory_iterator(SONMERE_SOURCE_DIR "/docs/json")) {
    const std::string name = entry.path().filename();
    const auto end = name.find(".schema.json");
    EXPECT_TRUE(end == std::string::npos || checked_.contains(name.substr(0, end)))
        << name << " is of no command here";
  }
}

}  // namespace
}  // namespace sonmere
