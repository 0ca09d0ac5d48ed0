#include "cli/Progress.h"

#include <gtest/gtest.h>

#include "base/VirtualRuntime.h"
#include "cli/Text.h"

namespace sonmere {
namespace {

// What four minutes of even work show.
std::string shown(Progress::Style style, Duration total) {
  char* text = nullptr;
  std::size_t size = 0;
  std::FILE* out = open_memstream(&text, &size);
  {
    VirtualRuntime runtime(1);
    Progress progress(runtime, "Exporting", style, out);
    for (int i = 0; i <= 1000; ++i) {
      progress.show(i / 1000.0);
      runtime.advance(total / 1000);
    }
  }
  std::fclose(out);
  std::string result(text, size);
  std::free(text);
  return result;
}

TEST(Progress, ABarIsDrawnOverItselfAndTakenAwayAtTheEnd) {
  const std::string bar = shown(Progress::Style::bar, std::chrono::seconds(240));
  EXPECT_EQ(bar.find('\n'), std::string::npos);
  EXPECT_NE(bar.find("\rExporting [###############...............]  50 %  2:00 left\x1b[K"),
            std::string::npos);
  EXPECT_TRUE(bar.ends_with("\r\x1b[K"));
}

TEST(Progress, LinesAreFewAndJSONAndShortWorkHaveNone) {
  const std::string lines = shown(Progress::Style::lines, std::chrono::seconds(100));
  EXPECT_EQ(std::ranges::count(lines, '\n'), 9) << lines;
  EXPECT_TRUE(lines.starts_with("Exporting: 10 %, 1:30 left\n")) << lines;
  EXPECT_EQ(shown(Progress::Style::silent, std::chrono::hours(1)), "");
  EXPECT_EQ(shown(Progress::Style::bar, fromMilliseconds(200)), "");
  EXPECT_EQ(Progress::styleFor(true), Progress::Style::silent);
}

TEST(Text, LengthsAndSizesReadWell) {
  EXPECT_EQ(lengthText(0), "0:00");
  EXPECT_EQ(lengthText(59.96, 1), "1:00.0");
  EXPECT_EQ(lengthText(7.25, 2), "0:07.25");
  EXPECT_EQ(lengthText(3723), "1:02:03");
  EXPECT_EQ(lengthText(-5), "0:00");
  EXPECT_EQ(sizeText(999), "999 bytes");
  EXPECT_EQ(sizeText(1000), "1.0 kB");
  EXPECT_EQ(sizeText(999'960), "1.0 MB");
  EXPECT_EQ(sizeText(4'294'967'296), "4.3 GB");
}

}  // namespace
}  // namespace sonmere
