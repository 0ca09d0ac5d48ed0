#pragma once

#include <string>
#include <vector>

namespace sonmere {

// Text that is drawn again and again in its place on a terminal, whose size may change meanwhile. Threads:
// one at a time.
class LiveText {
 public:
  // What takes the cursor back to where the last text began, takes that off the screen and draws this one:
  // cut to the terminal, and with a last line that says how many are left out where it has too few rows.
  std::string redrawn(const std::string& text, int columns, int rows);

 private:
  std::vector<int> drawn_;  // the widths of the lines that stand there
};

}  // namespace sonmere
