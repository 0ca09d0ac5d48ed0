#include <gtest/gtest.h>

#include <set>
#include <string>

#include "base/LengthText.h"
#include "base/NearestText.h"
#include "base/UTF8.h"

namespace sonmere {
namespace {

std::string encoded(char32_t c) {
  if (c < 0x80) return {char(c)};
  if (c < 0x800) return {char(0xC0 | c >> 6), char(0x80 | (c & 0x3F))};
  if (c < 0x10000) return {char(0xE0 | c >> 12), char(0x80 | (c >> 6 & 0x3F)), char(0x80 | (c & 0x3F))};
  return {char(0xF0 | c >> 18), char(0x80 | (c >> 12 & 0x3F)), char(0x80 | (c >> 6 & 0x3F)),
          char(0x80 | (c & 0x3F))};
}

// Every character there is, and of all other beginnings of two bytes, with what may follow, none.
TEST(UTF8, IsWhatCharactersEncodeToAndNothingElse) {
  std::set<std::string> all;
  for (char32_t c = 0; c < 0x110000; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    const std::string text = encoded(c);
    ASSERT_EQ(utf8CharacterBytes("x" + text, 1), text.size()) << unsigned(c);
    if (text.size() < 3 || text.ends_with('\x80')) all.insert(text);
  }
  int wrong = 0;
  for (int first = 0; first < 256; ++first)
    for (int second = 0; second < 256; ++second) {
      const std::string two = {char(first), char(second)};
      wrong += isUTF8(two) != (all.contains(two) || (first < 0x80 && second < 0x80));
      for (const char* rest : {"\x80", "\x80\x80"})
        if (first >= 0x80 && second >= 0x80) wrong += isUTF8(two + rest) != all.contains(two + rest);
      if (first < 0xE0 || second < 0x80) continue;
      for (const char* rest : {"\x7F", "\xC0"}) wrong += isUTF8(two + rest);
      for (const char* rest : {"\x80\x7F", "\x80\xC0"}) wrong += first >= 0xF0 && isUTF8(two + rest);
    }
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(utf8CharacterBytes("\xF0\x9F\x8E", 0), 0u) << "cut short";
}

TEST(NearestText, IsTheOneThatFewestChangesLeadTo) {
  const std::vector<std::string> commands = {"volume", "route", "record", "Mixer", "mute"};
  const std::pair<const char*, const char*> cases[] = {
      {"volume", "volume"}, {"volum", "volume"}, {"vollume", "volume"}, {"vloume", "volume"},
      {"bolune", "volume"}, {"bolunee", ""},     {"bolunr", ""},        {"ROUTE", "route"},
      {"cor", "record"},    {"co", ""},          {"mixr", "Mixer"},     {"mut", "mute"},
      {"mu", ""},           {"mte", "mute"},     {"xyz", ""},           {"", ""}};
  for (const auto& [text, nearest] : cases)
    EXPECT_EQ(nearestText(text, commands).value_or(""), nearest) << text;
  EXPECT_EQ(nearestText("caz", {"cat", "car"}), "cat") << "the first of equals";
  EXPECT_EQ(nearestText("kitting", {"kitten", "sitting"}), "sitting");
  EXPECT_EQ(nearestText("intentions", {"executions"}), std::nullopt) << "five of ten letters";
  EXPECT_FALSE(nearestText("a", {}));
}

TEST(LengthText, RoundsBeforeItIsTakenApart) {
  EXPECT_EQ(lengthText(3599.96, 1), "1:00:00.0");
  EXPECT_EQ(lengthText(3665.25, 2), "1:01:05.25");
  EXPECT_EQ(lengthText(65), "1:05");
  const std::pair<std::uint64_t, const char*> sizes[] = {{0, "0 bytes"},
                                                         {999, "999 bytes"},
                                                         {1000, "1.0 kB"},
                                                         {999'949, "999.9 kB"},
                                                         {999'951, "1.0 MB"},
                                                         {2'500'000'000, "2.5 GB"},
                                                         {5'000'000'000'000'000, "5000.0 TB"}};
  for (const auto& [bytes, text] : sizes) EXPECT_EQ(sizeText(bytes), text);
}

}  // namespace
}  // namespace sonmere
