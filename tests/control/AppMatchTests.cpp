#include "control/AppMatch.h"

#include <gtest/gtest.h>

namespace sonmere {
namespace {

TEST(AppMatch, TheWholeWinsOverAPartAndAPartThatFitsOneIsEnough) {
  const std::vector<AppName> apps = {{"org.music", "Music"},
                                     {"org.music.beta", "Music Beta"},
                                     {"org.player", "Player"},
                                     {"twin.a", "Twin"},
                                     {"twin.b", "Twin"}};
  EXPECT_EQ(matchApp("org.music", apps), "org.music");
  EXPECT_EQ(matchApp("MUSIC", apps), "org.music") << "the whole name";
  EXPECT_EQ(matchApp("beta", apps), "org.music.beta");
  EXPECT_EQ(matchApp("LAY", apps), "org.player");
  EXPECT_EQ(matchApp("twin.b", apps), "twin.b");

  const auto ambiguous = matchApp("twin", apps);
  ASSERT_FALSE(ambiguous);
  EXPECT_EQ(ambiguous.error().description, "\"twin\" fits several apps: twin.a (Twin), twin.b (Twin)");
  EXPECT_NE(matchApp("mus", apps).error().description.find("org.music.beta"), std::string::npos);
  EXPECT_NE(matchApp("nobody", apps).error().description.find("nobody"), std::string::npos);
  EXPECT_FALSE(matchApp("", apps));
}

}  // namespace
}  // namespace sonmere
