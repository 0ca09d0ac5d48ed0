#include "cli/RoutesPrinter.h"

#include <gtest/gtest.h>

namespace sonmere {

TEST(RoutesPrinter, AdviceComesWithTheCommandThatFollowsIt) {
  const auto row = [](const char* id, const char* verdict, const char* advice) {
    return ControlJSON{{"id", id}, {"name", id}, {"verdict", verdict}, {"detail", ""}, {"advice", advice}};
  };
  const std::string text = routesText(
      {{"routes",
        {row("driver", "inactive", "Install it."), row("input", "degraded", "Choose another."),
         row("mixer", "broken", "Reset."), row("monitor", "degraded", "Wait."), row("mix", "healthy", "")}}});
  const std::string advice = text.substr(text.find("\n\n") + 2);
  EXPECT_EQ(advice,
            "driver: Install it. (sonmere driver install)\n"
            "input: Choose another. (sonmere mic select)\n"
            "mixer: Reset. (sonmere routes reset)\n"
            "monitor: Wait.\n");
  EXPECT_NE(routesText({{"routes", {row("driver", "broken", "Repair it.")}}}).find("(sonmere driver repair)"),
            std::string::npos);
}

}  // namespace sonmere
