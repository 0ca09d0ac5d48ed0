#include "base/SettingsValue.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "base/Base64.h"
#include "base/SettingsLevels.h"
#include "base/SettingsStore.h"

namespace sonmere {
namespace {

using Array = SettingsValue::Array;
using Dictionary = SettingsValue::Dictionary;

void expectRoundTrip(const SettingsValue& value) {
  for (const int indent : {-1, 2}) {
    const std::string text = settingsValueToJSON(value, indent);
    const auto back = settingsValueFromJSON(text);
    ASSERT_TRUE(back) << text;
    EXPECT_EQ(*back, value) << text;
  }
}

TEST(SettingsValue, RoundTripsEveryKindExactly) {
  expectRoundTrip({});
  expectRoundTrip(true);
  expectRoundTrip("näme \"quoted\" \n\x01");
  for (const std::int64_t whole : {std::numeric_limits<std::int64_t>::min(), std::int64_t(-1),
                                   std::int64_t(0), std::numeric_limits<std::int64_t>::max()})
    expectRoundTrip(whole);
  for (const double number : {0.1, 1.0, -0.0, 1e300, 5e-324, 1.0 / 3, 9007199254740993.0})
    expectRoundTrip(number);
  EXPECT_TRUE(std::signbit(*settingsValueFromJSON(settingsValueToJSON(-0.0))->as<double>()));
  for (const char* text : {"/music/\xFF", "caf\xE9", "\xC3"}) expectRoundTrip(text);  // paths are bytes
  expectRoundTrip(Array{1, 1.0, "a", Array{}, Dictionary{}, SettingsData{""}});
  expectRoundTrip(Dictionary{{"a", SettingsData{std::string("\0\xFF\x80", 3)}}, {"", Dictionary{{"b", {}}}}});
}

TEST(SettingsValue, DictionariesThatLookLikeDataStayDictionaries) {
  expectRoundTrip(Dictionary{{"$data", "QUJD"}});
  expectRoundTrip(Dictionary{{"$data", 5}});
  expectRoundTrip(Dictionary{{"$$data", "QUJD"}});
  expectRoundTrip(Dictionary{{"$$$data", Dictionary{{"$data", SettingsData{"x"}}}}});
  expectRoundTrip(Dictionary{{"$data", "QUJD"}, {"other", 1}});
  expectRoundTrip(Dictionary{{"$text", "QUJD"}});
  expectRoundTrip(Dictionary{{"$$text", "\xFF"}});
  EXPECT_EQ(settingsValueToJSON("\xFF"), R"({"$text":"/w=="})");
  EXPECT_EQ(settingsValueToJSON(SettingsData{"ABC"}), R"({"$data":"QUJD"})");
  EXPECT_EQ(settingsValueFromJSON(R"({"$data":"no base64"})"),
            SettingsValue(Dictionary{{"$data", "no base64"}}));
}

TEST(SettingsValue, ForeignTextNeverHurts) {
  for (const char* text : {"", "{", "[1,]", "nul", "\"\xFF\"", "1 2"})
    EXPECT_FALSE(settingsValueFromJSON(text)) << text;
  EXPECT_FALSE(settingsValueFromJSON(std::string(1'000'000, '[')));
  for (const int levels : {kMostValueLevels, kMostValueLevels + 1, 5000}) {
    const std::string text = std::string(std::size_t(levels), '[') + std::string(std::size_t(levels), ']');
    const auto value = settingsValueFromJSON(text);
    EXPECT_EQ(value.has_value(), levels <= kMostValueLevels);
    EXPECT_EQ(isNestedTooDeeply(text), !value);
    EXPECT_TRUE(!value || levelsOf(*value) == levels);
  }
  EXPECT_EQ(levelsOf(Dictionary{{"a", Array{1, Array{}}}, {"b", 1}}), 3);
  EXPECT_EQ(levelsOf(Array{SettingsData{"x"}}), 2) << "written as an object";
  EXPECT_EQ(settingsValueFromJSON("18446744073709551615"), SettingsValue(18446744073709551615.0));
  EXPECT_EQ(settingsValueToJSON(Dictionary{{"\xFF", 1}}), "{\"\xEF\xBF\xBD\":1}")
      << "bytes that are no text are replaced, not thrown at";
  EXPECT_EQ(settingsValueToJSON(std::nan("")), "null");
}

TEST(Base64, RoundTripsAndRefusesWhatIsNot) {
  std::mt19937 random(7);
  for (std::size_t size = 0; size < 70; ++size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = char(random());
    EXPECT_EQ(fromBase64(toBase64(bytes)), bytes);
  }
  EXPECT_EQ(toBase64("fooba"), "Zm9vYmE=");
  for (const char* text : {"A", "AB", "A===", "=AAA", "AA=A", "AB==", "A B=", "AAA\n"})
    EXPECT_FALSE(fromBase64(text)) << text;
}

TEST(SettingsStore, ReadsOnlyTheKindThatIsAskedFor) {
  MemorySettingsStore store;
  store.set("flag", true);
  store.set("whole", 3);
  store.set("number", 0.5);
  store.set("text", "x");
  store.set("mixed", Array{"b", 1, "a"});
  store.set("data", SettingsData{"bytes"});
  store.set("null", {});
  EXPECT_TRUE(store.boolValue("flag"));
  EXPECT_FALSE(store.boolValue("whole"));
  EXPECT_FALSE(store.optionalBool("absent"));
  EXPECT_EQ(store.number("whole"), 3.0);
  EXPECT_EQ(store.number("number"), 0.5);
  EXPECT_FALSE(store.number("flag"));
  EXPECT_EQ(store.string("text"), "x");
  EXPECT_FALSE(store.string("data"));
  EXPECT_EQ(store.data("data"), "bytes");
  EXPECT_FALSE(store.stringArray("mixed"));
  EXPECT_TRUE(store.stringSet("mixed").empty());
  EXPECT_FALSE(store.object("null"));
  store.setStringSet("set", {"z", "m"});
  EXPECT_EQ(store.stringArray("set"), (std::vector<std::string>{"m", "z"}));
  store.remove("flag");
  EXPECT_FALSE(store.object("flag"));
  EXPECT_EQ(store.keys().front(), "data");
}

}  // namespace
}  // namespace sonmere
