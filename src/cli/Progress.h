#pragma once

#include <cstdio>
#include <string>

#include "base/Runtime.h"

namespace sonmere {

// "Exporting [####......]  40 %  0:12 left", in fewer columns than the terminal has: first the bar becomes
// shorter, then it goes.
std::string progressText(const std::string& what, double fraction, const std::string& left, int columns);

// How far long work is, on standard error: a bar with the time that is left where that is a terminal, a line
// now and then elsewhere, nothing beside JSON. Work that is soon done shows nothing. Needs a runtime whose
// time passes by itself. Threads: one at a time.
class Progress {
 public:
  enum class Style { bar, lines, silent };
  static Style styleFor(bool json);

  // `what` names the work in a word or two ("Exporting").
  Progress(Runtime& runtime, std::string what, Style style, std::FILE* out = stderr);
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // From 0 to 1, as often as one likes: it is drawn only when there is something new to see. 1 takes
  // the bar off the screen.
  void show(double fraction);
  void clear();

 private:
  void drawBar(double fraction, const std::string& left);
  void printLine(double fraction, const std::string& left);

  Runtime& runtime_;
  const std::string what_;
  const Style style_;
  std::FILE* const out_;
  const Duration start_;
  Duration nextDrawing_;
  bool isDrawn_ = false;
};

}  // namespace sonmere
