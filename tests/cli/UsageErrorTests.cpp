#include "cli/UsageError.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>

namespace sonmere {
namespace {

CommandTree sampleTree() {
  CLI::App app("A program", "sonmere");
  static std::string text;
  static std::vector<std::string> list;
  static bool flag = false;
  CLI::App* volume = app.add_subcommand("volume", "Volume");
  volume->add_option("ID", text)->required();
  volume->add_option("VOLUME", text);
  volume->add_flag("--json", flag);
  volume->add_option("--count", text)->type_name("N");
  CLI::App* record = app.add_subcommand("record", "Record");
  record->require_subcommand(1);
  record->add_subcommand("start", "Start")->add_option("BUS", list)->required();
  record->add_subcommand("stop", "Stop");
  CLI::App* recordings = app.add_subcommand("recordings", "Recordings");
  recordings->require_subcommand(0, 1);
  recordings->add_subcommand("list", "List");
  return commandTree(app);
}

TEST(UsageErrorTest, ItSaysWhatIsWrongAndWhatWasProbablyMeant) {
  struct Case {
    std::vector<std::string> words;
    std::string command, text;
  };
  const Case cases[] = {
      {{"volum", "x"}, "", "there is no command \"volum\"; did you mean volume?"},
      {{"zzz"}, "", "there is no command \"zzz\"; there are volume, record, recordings"},
      {{"record"}, "record", "say what to do: start, stop"},
      {{"record", "strat", "2"}, "record", "there is no command \"strat\"; there are start, stop"},
      {{"record", "start"}, "record start", "BUS is missing; write sonmere record start BUS..."},
      {{"volume"}, "volume", "ID is missing; write sonmere volume ID [VOLUME]"},
      {{"volume", "x", "1", "2"}, "volume", "\"2\" is one too many; write sonmere volume ID [VOLUME]"},
      {{"volume", "x", "--jsn"}, "volume", "there is no option --jsn; did you mean --json?"},
      {{"volume", "--coutn=3", "x"}, "volume", "there is no option --coutn; did you mean --count?"},
      {{"volume", "x", "--count"}, "volume", "--count needs a value: N"},
  };
  for (const Case& each : cases) {
    const auto error = findUsageError(sampleTree(), each.words);
    ASSERT_TRUE(error) << each.text;
    EXPECT_EQ(error->text, each.text);
    EXPECT_EQ(error->command, each.command);
  }
}

TEST(UsageErrorTest, WhatTheParserTakesIsNoError) {
  const std::vector<std::string> cases[] = {{},
                                            {"volume", "x"},
                                            {"volume", "x", "-5%"},
                                            {"volume", "x", "-.5"},
                                            {"volume", "--", "-x"},
                                            {"volume", "--count", "--3", "x"},
                                            {"record", "start", "a", "b", "c"},
                                            {"recordings"}};
  for (const auto& words : cases) {
    const auto error = findUsageError(sampleTree(), words);
    EXPECT_FALSE(error) << error->text;
  }
}

}  // namespace
}  // namespace sonmere
