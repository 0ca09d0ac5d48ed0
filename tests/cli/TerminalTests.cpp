#include "cli/Terminal.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "cli/ArgumentText.h"
#include "cli/LiveText.h"
#include "cli/Progress.h"
#include "cli/RemotePrinter.h"
#include "cli/TextTable.h"

namespace sonmere {
namespace {

constexpr auto kRight = TextTable::Align::right;

std::vector<std::string> linesOf(const std::string& text) {
  auto lines = splitText(text, '\n');
  lines.pop_back();
  return lines;
}

TEST(TerminalTest, WidthsAreThoseOfATerminal) {
  EXPECT_EQ(displayWidth("plain"), 5);
  EXPECT_EQ(displayWidth("naïve…"), 6);
  EXPECT_EQ(displayWidth("音楽"), 4);
  EXPECT_EQ(displayWidth("e\u0301"), 1);
  EXPECT_EQ(fitted("abcdef", 6), "abcdef");
  EXPECT_EQ(fitted("abcdefg", 6), "abcde…");
  EXPECT_EQ(fitted("音楽音楽", 6), "音楽…") << "half a character is none";
  EXPECT_EQ(fitted("abc", 0), "");
}

TEST(TextTableTest, ColumnsAreAsWideAsTheirCellsAndNoWiderThanTheTerminal) {
  TextTable table({{"app"}, {"volume", kRight}, {"file"}});
  table.add({"org.music", "100 %", "/home/someone/recordings/Track 1.wav"});
  table.add({"音楽\x1b", "5 %", "x"});
  EXPECT_EQ(table.text(0),
            "app        volume  file\n"
            "org.music   100 %  /home/someone/recordings/Track 1.wav\n"
            "音楽\uFFFD         5 %  x\n");
  EXPECT_EQ(table.text(40),
            "app        volume  file\n"
            "org.music   100 %  /home/someone/record…\n"
            "音楽\uFFFD         5 %  x\n");
  for (int columns = 1; columns < 60; ++columns)
    for (const std::string& line : linesOf(table.text(columns))) EXPECT_LE(displayWidth(line), columns);
  EXPECT_NE(table.text(30).find("100 %"), std::string::npos) << "figures are not cut while texts can be";
}

TEST(LevelsTableTest, ItFitsAndItsColumnsStayWhereTheyAre) {
  EXPECT_EQ(levelsText(ControlJSON::array(), 80), appsText(ControlJSON::array()))
      << "says that there is none";
  const auto frame = [](double level, double delay, int columns) {
    return linesOf(levelsText(ControlJSON::array({{{"name", "A program with a long name"},
                                                   {"control", "mixer"},
                                                   {"volume", 1.0},
                                                   {"levelDb", level},
                                                   {"addedDelayMs", delay}}}),
                              columns));
  };
  for (const int columns : {40, 60, 80, 100, 200})
    for (const std::string& line : frame(-12, 3, columns)) EXPECT_LE(displayWidth(line), columns) << line;
  EXPECT_EQ(displayWidth(frame(-0.5, 3, 100)[1]), displayWidth(frame(-60, 128.5, 100)[1]));
  EXPECT_EQ(frame(0, 0, 200)[1].find("##############################"), frame(0, 0, 0)[1].find("#"));
}

// A terminal that knows what a redrawn text uses: its rows as they stand, wrapped at its width.
class Screen {
 public:
  Screen(int columns, int rows) : columns_(columns), rows_(rows) {}
  void resize(int columns) { columns_ = columns; }
  void write(const std::string& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '\n') {
        lines_.push_back(std::exchange(open_, ""));
      } else if (text.compare(i, 2, "\x1b[") == 0) {
        const std::size_t end = text.find_first_of("AJ", i);
        if (text[end] == 'A') up(std::stoi(text.substr(i + 2)));
        i = end;
      } else if (text[i] != '\r') {
        open_ += text[i];
      }
    }
  }
  const std::vector<std::string>& lines() const { return lines_; }
  bool scrolled() const { return int(lines_.size()) >= rows_; }

 private:
  // Rows, of which a long line takes several.
  void up(int rows) {
    while (rows > 0 && !lines_.empty()) {
      rows -= std::max(1, (displayWidth(lines_.back()) + columns_ - 1) / columns_);
      lines_.pop_back();
    }
    EXPECT_EQ(rows, 0) << "the cursor stands in the middle of a line";
  }

  int columns_, rows_;
  std::vector<std::string> lines_;
  std::string open_;
};

TEST(LiveTextTest, ItIsRedrawnInItsPlaceAlsoWhenTheTerminalChanges) {
  Screen screen(40, 10);
  screen.write("before\n");
  LiveText live;
  const std::string wide(60, 'x');
  screen.write(live.redrawn(fmt::format("one\n{}\nthree\n", wide), 40, 10));
  EXPECT_EQ(screen.lines()[2], fmt::format("{}…", wide.substr(0, 39)));
  screen.resize(25);  // what stands there takes a row more
  screen.write(live.redrawn("uno\ndue\n", 25, 10));
  EXPECT_EQ(screen.lines(), (std::vector<std::string>{"before", "uno", "due"}));
  screen.resize(100);
  screen.write(live.redrawn("1\n2\n3\n", 100, 10));
  EXPECT_EQ(screen.lines(), (std::vector<std::string>{"before", "1", "2", "3"}));
}

TEST(LiveTextTest, MoreLinesThanRowsAreLeftOutAndCounted) {
  Screen screen(40, 4);
  LiveText live;
  for (int i = 0; i < 3; ++i) screen.write(live.redrawn("1\n2\n3\n4\n5\n", 40, 4));
  EXPECT_EQ(screen.lines(), (std::vector<std::string>{"1", "2", "... and 3 more"}));
  EXPECT_FALSE(screen.scrolled());
}

TEST(ProgressTextTest, TheBarTakesWhatIsLeftAndThenGoes) {
  EXPECT_EQ(progressText("Exporting", 0.5, "0:12 left", 80),
            "Exporting [###############...............]  50 %  0:12 left");
  EXPECT_EQ(progressText("Exporting", 0.5, "0:12 left", 40), "Exporting [#####.....]  50 %  0:12 left");
  EXPECT_EQ(progressText("Exporting", 0.5, "0:12 left", 30), "Exporting  50 %  0:12 left");
  for (int columns = 1; columns < 100; ++columns)
    EXPECT_LT(displayWidth(progressText("Exporting", 1, "0:12 left", columns)), std::max(columns, 2));
}

}  // namespace
}  // namespace sonmere
