#include "cli/Completion.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>

#include "cli/CompletionScripts.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

using Candidates = std::vector<CompletionReply::Candidate>;
using Words = std::vector<std::string>;

// A tree with each form that values have.
CommandTree sampleTree() {
  CLI::App app("A program", "sonmere");
  CLI::App* volume = app.add_subcommand("volume", "Volume");
  std::string id, value;
  std::vector<std::string> list;
  volume->add_option("ID", id)->required();
  volume->add_option("VOLUME", value);
  volume->add_flag("--json");
  CLI::App* run = app.add_subcommand("run", "Run");
  run->add_option("--route", list)->type_name("ID=BUS|off");
  run->add_option("--app", list)->type_name("ID=FILE");
  run->add_option("--out", value)->type_name("DIR");
  run->add_option("--normalise", value)->type_name("peak|LUFS")->expected(0, 1);
  run->add_option("FILE", list);
  CLI::App* record = app.add_subcommand("record", "Record");
  record->add_subcommand("start", "Start")->add_option("BUS", value);
  record->add_subcommand("stop", "Stop");
  CLI::App* set = app.add_subcommand("set", "Set");
  set->add_option("SCOPE", id);
  set->add_option("PLUGIN", value);
  set->add_flag("--json");
  set->add_option("SETTING", list);
  app.add_subcommand("hidden", "Hidden")->group("");
  return commandTree(app);
}

Candidates source(const std::string& kind, const CompletionGiven& given) {
  if (kind == "ID")
    return {{"org.music", "Music"}, {"$(id>PWNED)", "x"}, {"a\x1b[2J", "y"}, {"two\nlines", ""}};
  if (kind == "BUS") return {{"bridge", "bus 0"}, {"track1", "bus 2"}};
  // What it is told of the words before.
  if (kind == "SETTING") return {{given.at("SCOPE") + "/" + given.at("PLUGIN"), ""}};
  if (kind == "VOLUME") return {{"50%", ""}, {"-5%", ""}};
  return {};
}

Words wordsOf(const Words& words) {
  Words found;
  for (const auto& each : completeWords(sampleTree(), words, source).candidates) found.push_back(each.word);
  return found;
}

TEST(CompletionTest, ItOffersWhatTheParserWouldTakeAtTheCursor) {
  const std::pair<Words, Words> cases[] = {
      {{""}, {"volume", "run", "record", "set"}},
      {{"r"}, {"run", "record"}},
      {{"record", "st"}, {"start", "stop"}},
      {{"record", "start", ""}, {"bridge", "track1"}},
      {{"record", "start", "bridge", ""}, {}},
      {{"volume", ""}, {"org.music", "$(id>PWNED)"}},
      {{"volume", "org"}, {"org.music"}},
      {{"volume", "--json", "x", ""}, {"50%", "-5%"}},
      {{"volume", "x", "-"}, {"-5%", "-h", "--help", "--json"}},
      {{"volume", "x", "-5%", ""}, {}},
      {{"volume", "x", "--", "-"}, {"-5%"}},
      {{"run", "--r"}, {"--route"}},
      {{"run", "--route", "o"}, {"org.music="}},
      {{"run", "--route", "a=b=c", ""}, {}},
      {{"run", "--route", "x=t"}, {"x=track1"}},
      {{"run", "--route", "x=o"}, {"x=off"}},
      {{"run", "--route=x=b"}, {"--route=x=bridge"}},
      {{"run", "--normalise", "p"}, {"peak"}},
      {{"set", "mic", "--json", "-1", ""}, {"mic/-1"}},
      {{"nonsense", ""}, {}},
  };
  for (const auto& [words, expected] : cases) EXPECT_EQ(wordsOf(words), expected) << words.back();
}

TEST(CompletionTest, FilesAreLeftToTheShellFromWhereTheyBegin) {
  using Files = CompletionReply::Files;
  const auto ask = [](const Words& words) { return completeWords(sampleTree(), words, source); };
  EXPECT_EQ(ask({"run", "take"}).files, Files::any);
  EXPECT_EQ(ask({"run", "one.wav", "tw"}).files, Files::any) << "takes several";
  EXPECT_EQ(ask({"run", "--out", ""}).files, Files::folders);
  EXPECT_EQ(ask({"run", "--app", "a=so"}).filesFrom, 2u);
  EXPECT_EQ(ask({"run", "--app=a=so"}).filesFrom, 8u);
  EXPECT_EQ(ask({"volume", "x", ""}).files, Files::none);
  EXPECT_FALSE(ask({"run", "--app", ""}).endsWord);
  EXPECT_EQ(completionText(ask({"run", "--route", "x=t"})), "none 0 space\nx=track1\tbus 2\n");
  EXPECT_EQ(completionText(ask({"run", "--app", "o"})), "none 0 nospace\norg.music=\tMusic\n");
}

// What strangers may call a program. Each would do or become something else where a shell expanded it.
const std::string kHostileNames[] = {"$(id>PWNED)", "`id>PWNED`", "${x:=$(id>PWNED)}",
                                     "a;id>PWNED",  "a b",        "it's",
                                     "say \"hi\"",  "a\\b",       "*",
                                     "~",           "!!",         "$((id>PWNED))",
                                     "a|b&c<d>e",   "#x",         "-n",
                                     "a:b",         "a=b",        "{a,b}",
                                     "<(id>PWNED)", "[abc]*",     "  two  blanks  ",
                                     "ünïcode 音"};

// Shells that load the script, with a program that answers what it is told to.
class CompletionScriptTest : public testing::Test {
 protected:
  void SetUp() override {
    for (const char* shell : {"bash", "zsh", "fish"}) std::ofstream(path(shell)) << completionScript(shell);
    std::ofstream(path("bin/sonmere")) << "#!/bin/sh\nshift\nprintf '%s\\n' \"$@\" >asked\ncat reply\n";
    std::filesystem::permissions(path("bin/sonmere"), std::filesystem::perms::owner_all);
  }
  CompletionScriptTest() { std::filesystem::create_directory(path("bin")); }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  void answer(const std::string& text) const { std::ofstream(path("reply")) << text; }
  static bool has(const std::string& shell) {
    return std::system(("command -v " + shell + " >/dev/null 2>&1").c_str()) == 0;
  }
  // What `script` prints; it runs in the folder, behind the completion.
  std::string run(const std::string& shell, const std::string& script) const {
    std::ofstream(path("script")) << script;
    const std::string command = "cd '" + path("") + "' && PATH='" + path("bin") + "':\"$PATH\" HOME='" +
                                path("") + "' " + shell + " script 2>&1";
    FILE* const out = popen(command.c_str(), "r");
    std::string text;
    char block[4096];
    while (const std::size_t size = std::fread(block, 1, sizeof block, out)) text.append(block, size);
    EXPECT_EQ(pclose(out), 0) << text;
    return text;
  }
  // The words that the program was given, a line each.
  std::string asked() const {
    std::ifstream file(path("asked"));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Nothing came to be that a name asked for.
  void expectNothingRan() const { EXPECT_FALSE(std::filesystem::exists(path("PWNED"))); }

  TemporaryFolder folder;
};

// $1 is the line up to the cursor and $2 what readline would replace of it. What stands on the line
// afterwards is parsed as if it were run.
constexpr const char* kBashHarness = R"sh(source ./bash
complete_line() {
  COMP_LINE=$1 COMP_POINT=${#1}
  _sonmere sonmere "$2"
  for reply in "${COMPREPLY[@]}"; do
    eval "arguments=(${1%"$2"}$reply$3)"
    printf '<%s>' "${arguments[@]:1}"
  done
  echo
}
)sh";

TEST_F(CompletionScriptTest, InBashAHostileNameIsOneWordAndNothingRuns) {
  for (const std::string& name : kHostileNames) {
    answer("none 0 space\n" + name + "\thelp $(id>PWNED)\n");
    EXPECT_EQ(run("bash", kBashHarness + std::string("complete_line 'sonmere volume ' ''")),
              "<volume><" + name + ">\n");
    expectNothingRan();
  }
}

TEST_F(CompletionScriptTest, InBashTheWordsBeforeTheCursorGoToTheProgramUnexpanded) {
  answer("none 0 space\n");
  run("bash", R"x(source ./bash
COMP_LINE='sonmere volume $(id>PWNED) "a b" it' COMP_POINT=${#COMP_LINE}
_sonmere sonmere it)x");
  EXPECT_EQ(asked(), "volume\n$(id>PWNED)\na b\nit\n");
  expectNothingRan();
  answer("none 0 space\nit's $x\n");
  // Quotes that are open stay open, and the word within them is one that they can hold.
  EXPECT_EQ(run("bash", kBashHarness + std::string(R"x(complete_line "sonmere volume \"it" it '"')x")), "\n");
  answer("none 0 space\nit's fine\n");
  EXPECT_EQ(run("bash", kBashHarness + std::string(R"x(complete_line "sonmere volume \"it" it '"')x")),
            "<volume><it's fine>\n");
  EXPECT_EQ(run("bash", kBashHarness + std::string(R"x(complete_line "sonmere volume 'it" it "'")x")), "\n");
  // A word break of readline's is no end of the word.
  answer("none 0 nospace\nx=track1\n");
  EXPECT_EQ(run("bash", kBashHarness + std::string("complete_line 'sonmere run --route x=tr' tr")),
            "<run><--route><x=track1>\n");
  answer("none 0 space\na:b c\n");
  EXPECT_EQ(run("bash", kBashHarness + std::string("complete_line 'sonmere volume a:b' b")),
            "<volume><a:b c>\n");
}

TEST_F(CompletionScriptTest, InZshAHostileNameIsHandedOnAsItIsAndNothingRuns) {
  if (!has("zsh")) GTEST_SKIP() << "there is no zsh here";
  for (const std::string& name : kHostileNames) {
    answer("none 0 space\n" + name + "\thelp $(id>PWNED)\n");
    const std::string text = run("zsh -f", R"(compdef() { }
source ./zsh
compadd() { printf '<%s>' "${candidates[@]}"; echo }
words=(sonmere volume "a\\ \\\$x" "") CURRENT=4 PREFIX="it\\'s"
_sonmere)");
    EXPECT_EQ(text, "<" + name + ">\n");
    EXPECT_EQ(asked(), "volume\na $x\nit's\n");
    expectNothingRan();
  }
}

TEST_F(CompletionScriptTest, InFishAHostileNameIsOfferedAsItIsAndNothingRuns) {
  if (!has("fish")) GTEST_SKIP() << "there is no fish here";
  std::string all = "none 0 space\n";
  for (const std::string& name : kHostileNames) all += name + "\thelp\n";
  answer(all);
  const std::string text = run("fish --no-config", "source ./fish; complete -C 'sonmere volume '");
  for (const std::string& name : kHostileNames)
    EXPECT_NE(text.find(name), std::string::npos) << name << "\n" << text;
  expectNothingRan();
  EXPECT_EQ(asked(), "volume\n\n");
}

}  // namespace
}  // namespace sonmere
