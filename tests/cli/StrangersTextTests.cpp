#include <gtest/gtest.h>

#include "base/PrintableText.h"
#include "cli/JSONOutput.h"
#include "cli/RemotePrinter.h"
#include "cli/Tell.h"

namespace sonmere {
namespace {

// Clears the screen, changes the title, begins another line, turns the writing direction.
const std::string kHostile =
    "x\x1b[2J\x1b]0;title\x07\n\xC2\x9B"
    "1m\xE2\x80\xAE"
    "end";

// What a program of a stranger's could put into the service's answers.
ControlJSON hostileApp() {
  return {{"id", kHostile},     {"name", kHostile},         {"control", kHostile}, {"running", true},
          {"levelDb", -6.0},    {"outputDevice", kHostile}, {"path", kHostile},    {"platform", kHostile},
          {"reason", kHostile}, {"routingError", kHostile}, {"apps", {kHostile}}};
}

void expectHarmless(const std::string& text) {
  EXPECT_EQ(printableLines(text), text);
  EXPECT_EQ(text.find("\nend"), std::string::npos) << "a name began another line";
  EXPECT_NE(text.find("[2J"), std::string::npos) << "the rest of the name is shown";
}

TEST(StrangersTextTest, TablesShowItWithoutWhatATerminalObeys) {
  const ControlJSON app = hostileApp(), list = ControlJSON::array({app});
  for (const std::string& text :
       {statusText(app), appsText(list), appText(app), mixerText(app), devicesText(list),
        recordingsText(list), profilesText(list), levelsText(list, 0)})
    expectHarmless(text);
}

TEST(StrangersTextTest, ErrorsAndJSONShowItWithoutWhatATerminalObeys) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(tell("volume", 2, "no app " + kHostile), 2);
  const std::string told = testing::internal::GetCapturedStderr();
  expectHarmless(told);
  EXPECT_EQ(told.find('\n'), told.size() - 1);
  const std::string json = jsonText(hostileApp());
  expectHarmless(json);
  EXPECT_EQ(ControlJSON::parse(json)["id"], kHostile) << "and means the same";
}

}  // namespace
}  // namespace sonmere
