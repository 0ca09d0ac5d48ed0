#include <sndfile.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <csignal>

#include "FileCommandTest.h"
#include "audio/file/AudioFileReader.h"
#include "cli/FileWork.h"
#include "editor/export/UnfinishedFile.h"

namespace sonmere {
namespace {

class EditorCommandTest : public FileCommandTest {
 protected:
  static bool isOneLine(const std::string& text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
  }
  static std::string bytesIn(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::vector<std::string> names(const std::string& at) const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(at)) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }
  // The largest magnitude, read by the library.
  static float peakOf(const std::string& file) {
    SF_INFO info{};
    SNDFILE* in = sf_open(file.c_str(), SFM_READ, &info);
    EXPECT_TRUE(in) << file;
    double peak = 0;
    sf_command(in, SFC_CALC_NORM_SIGNAL_MAX, &peak, sizeof peak);
    sf_close(in);
    return float(peak);
  }
  void edits(const nlohmann::json& tracks) const {
    std::ofstream(takes + "/.sonmere-edits.json") << nlohmann::json{
        {"schemaVersion", 1}, {"sessionTimestamp", "2026-01-01 10-00-00"}, {"tracks", tracks}};
  }
  static std::string file(const std::string& name) { return name + " \u2014 2026-01-01 10-00-00.wav"; }
};

TEST_F(EditorCommandTest, AnEditIsWhatItSays) {
  const std::string source = make(path("a.wav")), out = path("t.wav");
  const std::string original = bytesIn(source);
  const auto edit = json({"edit", source, "--trim", "0.25:0.75", "--fade-in", "0.1", "--normalise", "--save",
                          out, "--loudness"});
  EXPECT_EQ(edit["startFrame"], 12000);
  EXPECT_EQ(edit["endFrame"], 36000);
  EXPECT_EQ(edit["fadeInFrames"], 4800);
  EXPECT_NEAR(edit["gain"], 0.94406 / 0.5, 1e-6);
  EXPECT_EQ(edit["format"], "wav");
  EXPECT_NEAR(edit["loudness"]["samplePeakDb"], -0.5, 0.01);
  const auto info = json({"info", out})["files"][0];
  EXPECT_EQ(info["frames"], 24000);
  EXPECT_EQ(info["bits"], 24) << "that of the source";
  EXPECT_NEAR(peakOf(out), 0.94406, 1e-6);
  EXPECT_EQ(bytesIn(source), original);

  const Run again = run({"edit", source, "--gain", "-6", "--save", out});
  EXPECT_EQ(again.status, 2);
  EXPECT_EQ(again.err,
            "sonmere edit: " + out + ": this file exists already; choose another name, or add --force\n");
  EXPECT_EQ(run({"edit", source, "--gain", "-6", "--save", out, "--force"}).status, 0);
  EXPECT_NEAR(peakOf(out), 0.5 * std::pow(10, -6.0 / 20), 1e-6);

  const auto loud = json({"edit", source, "--normalise", "-14", "--save", path("l.wav"), "--loudness"});
  EXPECT_NEAR(loud["loudness"]["integratedLUFS"], -14, 0.05);
  const Run mp3 = run({"edit", source, "--save", path("t.mp3")});
  EXPECT_EQ(mp3.out, path("t.mp3") + ": 0:01.000, mp3-192, gain +0.0 dB\n") << mp3.err;
}

TEST_F(EditorCommandTest, WhatIsTooMuchIsHeldAndTold) {
  const std::string source = make(path("a.wav"));
  const Run held =
      run({"edit", source, "--trim", "0.5:9", "--fade-out", "20", "--gain", "99", "--save", path("b.wav")});
  EXPECT_EQ(held.status, 0);
  EXPECT_EQ(held.err,
            "sonmere edit: trim: held to the file's end at 0:01.000\n"
            "sonmere edit: fade-out: held to 0:00.500, the length of what is kept\n"
            "sonmere edit: gain: held to 24.1 dB, the most there is\n"
            "sonmere edit: the loudest sample is 18.1 dB above full scale and was clipped; a lower gain "
            "keeps it\n");
  // A step of a length that no loudness is defined for, and silence.
  EXPECT_NE(run({"edit", source, "--trim", "0:0.1", "--loudness"}).out.find("too short"), std::string::npos);
  ASSERT_EQ(run({"edit", source, "--gain", "-999", "--save", path("silent.wav")}).status, 0);
  const Run silent = run({"edit", path("silent.wav"), "--normalise", "--save", path("s.wav")});
  EXPECT_NE(silent.err.find("silent"), std::string::npos);
  EXPECT_EQ(silent.status, 0);
  EXPECT_TRUE(
      json({"info", path("silent.wav"), "--loudness"})["files"][0]["loudness"]["samplePeakDb"].is_null());
}

// As another program would be: what comes in is not a file that can be sought in, what goes out is one alone.
TEST_F(EditorCommandTest, ADashIsStandardInputAndOutput) {
  const std::string source = make(path("a.wav"));
  const auto runWith = [&](const std::string& command) {
    const std::string text = "cd " + folder.path().string() + " && " + command + " 2>err";
    const int status = std::system(text.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  };
  const std::string program = SONMERE_PROGRAM;
  EXPECT_EQ(
      runWith("cat a.wav | " + program + " edit - --trim 0.25:0.75 --format flac --save - | cat >b.flac"), 0);
  EXPECT_EQ(bytesIn(path("err")), "");
  const auto info = json({"info", path("b.flac")})["files"][0];
  EXPECT_EQ(info["codec"], "FLAC");
  EXPECT_EQ(info["bits"], 24);
  EXPECT_NEAR(peakOf(path("b.flac")), 0.5, 1e-6);
  EXPECT_EQ(runWith("cat b.flac | " + program + " edit - --save c.wav"), 0) << bytesIn(path("err"));
  EXPECT_EQ(runWith(program + " edit b.flac --format wav --save - >d.wav && cmp c.wav d.wav"), 0);
  EXPECT_EQ(runWith("cat a.wav | " + program + " info --json - >i.json"), 0);
  EXPECT_EQ(nlohmann::json::parse(bytesIn(path("i.json")))["files"][0]["file"], "-");
  EXPECT_EQ(runWith(program + " waveform - --svg - <a.wav >a.svg && grep -q '<svg' a.svg"), 0);
  EXPECT_EQ(runWith("cat a.wav | " + program + " recordings import - --folder takes --name 'A talk'"), 0);
  EXPECT_TRUE(names(takes).at(0).starts_with("A talk \u2014 20")) << names(takes)[0];

  EXPECT_EQ(runWith("echo no audio | " + program + " edit - --save e.wav"), 2);
  EXPECT_EQ(bytesIn(path("err")), "sonmere edit: standard input: not an audio file that can be decoded\n");
  EXPECT_EQ(runWith(program + " edit a.wav --save - --json >x"), 2);
  EXPECT_EQ(runWith(program + " edit a.wav --save - --format m4a >x"), 2);
  EXPECT_TRUE(isOneLine(bytesIn(path("err")))) << bytesIn(path("err"));
  EXPECT_EQ(bytesIn(path("x")), "");
}

TEST_F(EditorCommandTest, BadInputIsOneLineAndStatus2AndNothingIsTouched) {
  const std::string a = make(path("a.wav"));
  fs::create_directory(path("dir.wav"));
  fs::create_symlink(a, path("link.wav"));
  fs::create_hard_link(a, path("hard.wav"));
  std::ofstream(path("text.wav")) << "no audio";
  std::ofstream(path("empty.wav"));
  const std::string out = path("out.wav"), original = bytesIn(a);
  const auto before = names(folder.path());
  using Arguments = std::vector<std::string>;
  const std::vector<std::pair<Arguments, std::string>> cases = {
      {{"edit", path("none.wav"), "--save", out}, "no such file"},
      {{"edit", path("text.wav"), "--save", out}, "text.wav"},
      {{"edit", path("empty.wav"), "--save", out}, "empty.wav"},
      {{"edit", a}, "--save"},
      {{"edit", a, "--format", "wav", "--loudness"}, "--save"},
      {{"edit", a, "--save", ""}, "--save is empty"},
      {{"edit", a, "--save", path("dir.wav"), "--force"}, "folder"},
      {{"edit", a, "--save", path("link.wav"), "--force"}, "symbolic link"},
      {{"edit", a, "--save", path("hard.wav"), "--force"}, "original"},
      {{"edit", a, "--save", a, "--force", "--normalise"}, "original"},
      {{"edit", a, "--save", path("text.wav/b.wav")}, "text.wav"},
      {{"edit", a, "--save", path("b.ogg")}, "can be read but not written"},
      {{"edit", a, "--save", out, "--format", "mp3-320"}, "another extension"},
      {{"edit", a, "--save", path("b.mp3"), "--format", "mp3-999"}, "mp3-999"},
      {{"edit", a, "--save", out, "--trim", "1:99:99"}, "1:99:99"},
      {{"edit", a, "--save", out, "--trim", "5:6"}, "ends at 0:01.000"},
      {{"edit", a, "--save", out, "--trim", "0.000011:0.000012"}, "no frame"},
      {{"edit", a, "--save", out, "--fade-in", "nan"}, "nan"},
      {{"edit", a, "--save", out, "--gain", "inf"}, "inf"},
      {{"edit", a, "--save", out, "--gain", "1", "--normalise"}, "use one of them"},
      {{"edit", a, "--save", out, "--normalise", "-99"}, "-99"},
      {{"edit", a, "--save", "-", "--json"}, "standard output"},
      {{"edit", a, "--save", out, "--trim", "-3:5"}, "no beginning"},
      {{"waveform", a, "--png", path("p.jpg")}, "name it .png"},
      {{"waveform", a, "--svg", path("p.PNG")}, "name it .svg"},
      {{"waveform", a}, "--png"},
      {{"waveform", a, "--png", path("p"), "--svg", path("./p")}, "same file"},
      {{"waveform", a, "--png", path("p.png"), "--svg", a, "--force"}, "original"},
      {{"waveform", a, "--png", path("p.png"), "--to", "0.00001"}, "--to"},
      {{"waveform", a, "--png", path("p.png"), "--from", "2"}, "--from"},
      {{"waveform", a, "--png", path("p.png"), "--width", "-5"}, "-5"},
      {{"waveform", a, "--png", path("p.png"), "--height", "1000000000"}, "1000000000"},
      {{"waveform", a, "--png", path("p.png"), "--width", "x"}, "--width"},
  };
  for (const auto& [arguments, named] : cases) {
    const Run result = run(arguments);
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_TRUE(isOneLine(result.err)) << named << ": " << result.err;
    EXPECT_NE(result.err.find(named), std::string::npos) << named << ": " << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(names(folder.path()), before) << named;
  }
  EXPECT_EQ(bytesIn(a), original);
}

TEST_F(EditorCommandTest, WaveformsAreDrawn) {
  const std::string source = make(path("a.wav"));
  const auto drawn = json({"waveform", source, "--png", path("w.png"), "--svg", path("w.svg"), "--from",
                           "0.5", "--width", "600", "--height", "120"});
  EXPECT_EQ(drawn["fromFrame"], 24000);
  EXPECT_EQ(drawn["toFrame"], 48000);
  EXPECT_EQ(drawn["peaks"], (nlohmann::json{0.5, 0.5}));
  EXPECT_TRUE(bytesIn(path("w.png")).starts_with("\x89PNG"));
  EXPECT_NE(bytesIn(path("w.svg")).find("width=\"600\""), std::string::npos);
  EXPECT_EQ(run({"waveform", source, "--png", path("w.png")}).status, 2) << "it is there already";

  // Closer than the bins of the whole file tell.
  ASSERT_EQ(run({"waveform", source, "--svg", path("near.svg"), "--from", "0.5", "--to", "0.5025", "--width",
                 "496", "--light", "--db"})
                .status,
            0);
  const std::string near = bytesIn(path("near.svg"));
  EXPECT_NE(near.find("fill=\"#ffffff\""), std::string::npos);
  EXPECT_NE(near.find(">-24</text>"), std::string::npos);
}

TEST_F(EditorCommandTest, ASessionIsExportedAsItWasEdited) {
  take("Sonmere Track 1");
  take("Sonmere Track 2");
  take("Sonmere Track 3");
  take("Other", "2026-01-02 10-00-00");
  edits({{file("Sonmere Track 1"), {{"muted", true}}},
         {file("Sonmere Track 2"), {{"gainLinear", 0.5}, {"trimStartFrame", 40000}}}});
  const auto session = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "session");
    arguments.insert(arguments.end(), {"--folder", takes});
    return arguments;
  };
  const auto show = json(session({"show", "2026-01-01", "--loudness"}));
  EXPECT_EQ(show["session"], "2026-01-01 10-00-00");
  ASSERT_EQ(show["tracks"].size(), 3u);
  EXPECT_EQ(show["tracks"][0]["audible"], false);
  EXPECT_EQ(show["tracks"][1]["startFrame"], 40000);
  EXPECT_TRUE(show["loudness"]["integratedLUFS"].is_number());
  EXPECT_NE(run(session({"show", "2026-01-01"})).out.find("muted"), std::string::npos);

  const auto made = json(session({"export", "2026-01-01", "--mix", "--out", path("m.wav")}));
  EXPECT_EQ(made["files"], (nlohmann::json{path("m.wav")}));
  const auto info = json({"info", path("m.wav")})["files"][0];
  EXPECT_EQ(info["frames"], 48000);
  EXPECT_NEAR(peakOf(path("m.wav")), 0.75, 1e-3);
  const auto stems = json(session({"export", "2026-01-01", "--stems", "--out", path("stems")}));
  EXPECT_EQ(stems["files"].size(), 3u);
  EXPECT_EQ(json({"info", path("stems/Track 2.wav")})["files"][0]["frames"], 8000);

  const auto before = names(takes);
  const std::string muted = takes + "/" + file("Sonmere Track 1");
  const std::string original = bytesIn(muted);
  using Arguments = std::vector<std::string>;
  for (const auto& [arguments, named] :
       {std::pair{Arguments{"show", "2026"}, "fits several sessions"},
        {Arguments{"show", "1999"}, "there is no session"},
        {Arguments{"show", ""}, "empty"},
        {Arguments{"export", "2026-01-01", "--out", muted, "--force"}, "original"},
        {Arguments{"export", "2026-01-01", "--out", path("m.wav")}, "--force"},
        {Arguments{"export", "2026-01-01", "--stems", "--mix", "--out", path("x")}, "--stems"},
        {Arguments{"export", "2026-01-01", "--stems", "--out", path("m.wav")}, "m.wav"},
        {Arguments{"export", "2026-01-01", "--stems", "--force", "--out", path("s")}, "--force"},
        {Arguments{"export", "2026-01-01", "--stems", "--normalise", "--out", path("s")}, "--normalise"},
        {Arguments{"export", "2026-01-01", "--gain", "loud", "--out", path("x.wav")}, "loud"},
        {Arguments{"edit", "2026-01-01", "Track 1"}, "--mute"},
        {Arguments{"edit", "2026-01-01", "--mute"}, "--all"},
        {Arguments{"edit", "2026-01-01", "Track 9", "--mute"}, "Track 9"},
        {Arguments{"edit", "2026-01-01", "Track 1", "--trim", "5:6"}, "ends at"},
        {Arguments{"edit", "2026-01-01", "Track 1", "--gain", "1", "--normalise"}, "use one"},
        {Arguments{"export", "2026-01-01"}, "--out"}}) {
    const Run result = run(session(arguments));
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_NE(result.err.find(named), std::string::npos) << named << ": " << result.err;
  }
  EXPECT_EQ(names(takes), before);
  EXPECT_EQ(bytesIn(muted), original);

  const nlohmann::json mute = {{"muted", true}};
  edits({{file("Sonmere Track 1"), mute}, {file("Sonmere Track 2"), mute}, {file("Sonmere Track 3"), mute}});
  const Run silent = run(session({"export", "2026-01-01", "--out", path("none.wav")}));
  EXPECT_EQ(silent.status, 2);
  EXPECT_NE(silent.err.find("every track is muted"), std::string::npos) << silent.err;
}

TEST_F(EditorCommandTest, TracksOfASessionAreEditedAndExportedSo) {
  take("Sonmere Track 1");
  take("Sonmere Track 2");
  const auto session = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "session");
    arguments.insert(arguments.begin() + 2, "2026-01-01");
    arguments.insert(arguments.end(), {"--folder", takes});
    return arguments;
  };
  edits({{file("Sonmere Track 1"), {{"colour", "red"}, {"fadeOutFrames", 48000}}}});
  auto after =
      json(session({"edit", "Track 1", "--trim", "0.5:", "--fade-in", "0.1", "--gain", "-6", "--solo"}));
  EXPECT_EQ(after, json(session({"show"}))) << "what is told is what is saved";
  const auto track = after["tracks"][0];
  EXPECT_EQ(track["startFrame"], 24000);
  EXPECT_EQ(track["fadeInFrames"], 4800);
  EXPECT_EQ(track["fadeOutFrames"], 24000) << "held to what is kept";
  EXPECT_NEAR(track["gain"], 0.50119, 1e-5);
  EXPECT_EQ(track["soloed"], true);
  EXPECT_EQ(after["tracks"][1]["audible"], false);
  EXPECT_NE(bytesIn(takes + "/.sonmere-edits.json").find("red"), std::string::npos);

  after = json(session({"edit", "--all", "--reset", "--normalise", "-20", "--mute"}));
  for (const auto& each : after["tracks"]) {
    EXPECT_EQ(each["startFrame"], 0);
    EXPECT_LT(each["gain"], 0.5);
    EXPECT_EQ(each["muted"], true);
  }
  after = json(session({"edit", file("Sonmere Track 2"), "Track 1", "Track 1", "--reset"}));
  EXPECT_EQ(after["tracks"][0]["gain"], 1);
  EXPECT_EQ(after["tracks"][1]["muted"], false);

  // Two of half of full scale, and 6 dB more.
  const Run clipped = run(session({"export", "--gain", "6", "--out", path("loud.wav")}));
  EXPECT_EQ(clipped.status, 0);
  EXPECT_EQ(clipped.err,
            "sonmere session: the mix is 6.0 dB above full scale and will be clipped; a gain of -6.0 dB or "
            "normalising keeps it\n");
  ASSERT_EQ(run(session({"export", "--normalise", "--out", path("peak.wav")})).err, "");
  EXPECT_NEAR(peakOf(path("peak.wav")), 0.94406, 1e-4);
  ASSERT_EQ(run(session({"export", "--normalise", "-23", "--out", path("lufs.wav")})).err, "");
  EXPECT_NEAR(json({"edit", path("lufs.wav"), "--loudness"})["loudness"]["integratedLUFS"], -23, 0.1);
  ASSERT_EQ(run(session({"export", "--stems", "--gain", "-12", "--out", path("stems")})).status, 0);
  EXPECT_NEAR(peakOf(path("stems/Track 1.wav")), 0.5 * std::pow(10, -0.6), 1e-3);
}

// Neither a file that can't be read nor one that was cut off is passed over without a word.
TEST_F(EditorCommandTest, FilesThatAreDamagedAreTold) {
  const std::string cut = take("Cut");
  fs::resize_file(cut, fs::file_size(cut) * 3 / 4);
  for (const auto& arguments :
       {std::vector<std::string>{"edit", cut, "--save", path("e.wav")},
        {"edit", cut, "--loudness"},
        {"waveform", cut, "--png", path("w.png")},
        {"recordings", "import", cut, "--folder", path("in")},
        {"session", "export", "2026-01-01", "--folder", takes, "--out", path("m.wav")}}) {
    fs::create_directories(path("in"));
    const Run result = run(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("cut off; by its header 0.3 s more"), std::string::npos)
        << arguments[0] << ": " << result.err;
  }
  // Of some nothing tells but that the audio ends.
  for (const auto& [name, ends] : {std::pair{"cut.flac", "lost sync"}, {"cut.mkv", "s too early"}}) {
    ASSERT_EQ(std::system(("ffmpeg -v error -f lavfi -i anoisesrc=d=2 -c:a flac " + path(name)).c_str()), 0);
    fs::resize_file(path(name), fs::file_size(path(name)) / 2);
    const Run edited = run({"edit", path(name), "--save", path("f.wav")});
    EXPECT_NE(edited.err.find(ends), std::string::npos) << edited.err;
    const Run drawn = run({"waveform", path(name), "--png", path(name) + ".png"});
    EXPECT_NE(drawn.err.find("; what follows is drawn as silence"), std::string::npos) << drawn.err;
  }

  const auto session = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "session");
    arguments.insert(arguments.end(), {"2026-01-01", "--folder", takes});
    return arguments;
  };
  std::ofstream(takes + "/" + file("Broken")) << "no audio";
  const Run shown = run(session({"show"}));
  EXPECT_EQ(shown.status, 0);
  EXPECT_NE(shown.out.find("unreadable"), std::string::npos) << shown.out;
  EXPECT_NE(shown.err.find(file("Broken")), std::string::npos) << shown.err;
  EXPECT_TRUE(json(session({"show"}))["tracks"][0]["unreadable"].is_string());
  for (const char* what : {"--mix", "--stems"}) {
    const Run refused = run(session({"export", what, "--out", path("x")}));
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("to leave it out, mute it"), std::string::npos) << refused.err;
  }
  EXPECT_EQ(run(session({"edit", "--gain", "3", "Broken"})).status, 2);
  ASSERT_EQ(run({"session", "edit", "2026-01-01", "Broken", "--mute", "--folder", takes}).status, 0);
  const Run left = run(session({"export", "--out", path("x.wav")}));
  EXPECT_EQ(left.status, 0) << left.err;
  EXPECT_NE(left.err.find(file("Broken")), std::string::npos) << "still told";
  EXPECT_EQ(json(session({"export", "--stems", "--out", path("stems")}))["files"].size(), 1u);
}

// What may be damaged or of a later version counts for nothing, and an added file that is gone is left out.
TEST_F(EditorCommandTest, ASessionOpensWhateverItsEditsAre) {
  take("A");
  for (const std::string& text :
       {std::string("{"), std::string(R"({"schemaVersion":2,"tracks":5})"),
        std::string(
            R"({"schemaVersion":1,"addedTracks":{"2026-01-01 10-00-00":["gone.wav","../a.wav"]}})")}) {
    std::ofstream(takes + "/.sonmere-edits.json") << text;
    EXPECT_EQ(json({"session", "show", "2026", "--folder", takes})["tracks"].size(), 1u) << text;
    EXPECT_EQ(bytesIn(takes + "/.sonmere-edits.json"), text);
  }
}

TEST_F(EditorCommandTest, DamagedSettingsAreToldByCommandsOnFilesToo) {
  take("A");
  std::ofstream(path("settings.json")) << "{";
  const Run result = run({"edit", make(path("a.wav")), "--save", path("b.wav")});
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.err.find("settings.json"), std::string::npos) << result.err;
  EXPECT_TRUE(fs::exists(path("settings.json.bad")));
  std::ofstream(path("settings.json")) << "{";
  EXPECT_NE(run({"recordings"}).err.find("settings.json"), std::string::npos);
}

// Hours of silence that take no room, and time to encode.
TEST_F(EditorCommandTest, ASignalEndsAnExportWithNothingLeft) {
  const std::string source = make(path("long.wav"));
  const std::uintmax_t bytes = fs::file_size(source) + 6ull * 48000 * 3600;
  std::fstream head(source, std::ios::in | std::ios::out | std::ios::binary);
  std::string start(200, '\0');
  head.read(start.data(), 200);
  const std::size_t data = start.find("data");
  const auto put = [&](std::size_t at, std::uintmax_t value) {
    head.seekp(std::streamoff(at));
    for (int i = 0; i < 4; ++i) head.put(char(value >> (8 * i)));
  };
  put(4, bytes - 8);
  put(data + 4, bytes - data - 8);
  head.close();
  fs::resize_file(source, bytes);
  const auto before = names(folder.path());
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const int watch = inotify_init1(IN_CLOEXEC);
    ASSERT_GE(inotify_add_watch(watch, folder.path().c_str(), IN_CREATE), 0);
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
      if (!std::freopen("/dev/null", "w", stderr)) _exit(99);
      const std::string out = path("new/deep/out.mp3");
      const char* const arguments[] = {"sonmere", "edit", source.c_str(), "--save", out.c_str()};
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
    EXPECT_EQ(names(folder.path()), before) << "not even the folders that were made";
  }
}

TEST_F(EditorCommandTest, HangingUpTwiceIsOneSignalAndASecondOneEndsAllAtOnce) {
  {
    FileWork work("edit", "", true);
    for (int i = 0; i < 2; ++i) ASSERT_EQ(raise(SIGHUP), 0);
    EXPECT_TRUE(work.show(0));
  }
  std::signal(SIGHUP, SIG_IGN);  // as nohup does
  {
    FileWork work("edit", "", true);
    ASSERT_EQ(raise(SIGHUP), 0);
    EXPECT_FALSE(work.show(0));
  }
  std::signal(SIGHUP, SIG_DFL);
  const pid_t child = fork();
  if (child == 0) {
    FileWork work("edit", "", true);
    const auto file = UnfinishedFile::create(path("x.tmp"));
    raise(SIGTERM);
    LiveRuntime().blockFor(StopSignals::kPatience);
    raise(file ? SIGINT : SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, SIGINT);
  EXPECT_FALSE(fs::exists(path("x.tmp")));
}

}  // namespace
}  // namespace sonmere
