#include "base/PrintableText.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/Log.h"

namespace sonmere {
namespace {

#define REPLACED "\xEF\xBF\xBD"

TEST(PrintableTextTest, WhatATerminalObeysIsReplacedAndTheRestStays) {
  const std::pair<std::string, std::string> cases[] = {
      {"Musik – 音楽 🎧 naïve", "Musik – 音楽 🎧 naïve"},
      {"a\x1b[2Jb", "a" REPLACED "[2Jb"},
      {"a\nb\tc\rd\x07\x7f", "a" REPLACED "b" REPLACED "c" REPLACED "d" REPLACED REPLACED},
      {std::string("a\0b", 3), "a" REPLACED "b"},
      {"\xC2\x9B"
       "31m",
       REPLACED "31m"},  // CSI as one character of C1
      {"\x9B"
       "31m",
       REPLACED "31m"},  // and as a byte, which is no UTF-8
      {"gpj.\xE2\x80\xAE"
       "exe",
       "gpj." REPLACED "exe"},  // right-to-left override
      {"\xE2\x81\xA6x\xE2\x81\xA9\xE2\x80\x8F\xD8\x9C", REPLACED "x" REPLACED REPLACED REPLACED},
      {"a\xE2\x80\xA8"
       "b",
       "a" REPLACED "b"},                                         // line separator
      {"\xC0\x9B", REPLACED REPLACED},                            // an escape in too many bytes
      {"\xED\xA0\x80", REPLACED REPLACED REPLACED},               // half of a surrogate pair
      {"\xF4\x90\x80\x80", REPLACED REPLACED REPLACED REPLACED},  // beyond the last character
      {"a\xE2\x80", "a" REPLACED REPLACED},                       // cut short
      {"", ""},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(printable(text), shown);
  EXPECT_EQ(printableLines("a\nb\x1b[2J\n"), "a\nb" REPLACED "[2J\n");
}

TEST(PrintableTextTest, InJSONItIsWrittenAsAnEscapeThatMeansTheSame) {
  const std::string name = "a\x1b[2J\n\x7f\xC2\x9B\xE2\x80\xAE – z";
  const std::string text = printableJSON(nlohmann::json{{"name", name}}.dump(2));
  EXPECT_EQ(text, "{\n  \"name\": \"a\\u001b[2J\\n\\u007f\\u009b\\u202e – z\"\n}");
  EXPECT_EQ(nlohmann::json::parse(text)["name"], name);
}

TEST(PrintableTextTest, LogLinesHoldNothingThatATerminalObeys) {
  Log log;
  std::string seen;
  log.addSink([&](LogLevel, const std::string& line) { seen = line; });
  log.warning("App x\n12:00:00 error forged\x1b[2J");
  EXPECT_EQ(seen, "App x" REPLACED "12:00:00 error forged" REPLACED "[2J");
}

}  // namespace
}  // namespace sonmere
