#include "cli/Progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "cli/Terminal.h"
#include "cli/Text.h"

namespace sonmere {

namespace {

constexpr int kBarWidth = 30;
constexpr int kLeastBarWidth = 5;
constexpr int kAnyColumns = 80;
// Short work needs no bar, and its first moments say little about how long it takes.
constexpr Duration kFirstBar = fromMilliseconds(300);
constexpr Duration kBarInterval = fromMilliseconds(100);
constexpr Duration kLineInterval = fromMilliseconds(10000);
constexpr double kLeastKnownFraction = 0.01;

// "0:12 left"; empty while it can't be told yet.
std::string timeLeft(Duration elapsed, double fraction) {
  if (fraction < kLeastKnownFraction) return "";
  return lengthText(toSeconds(elapsed) * (1 - fraction) / fraction) + " left";
}

}  // namespace

std::string progressText(const std::string& what, double fraction, const std::string& left, int columns) {
  const std::string head = what.empty() ? "" : what + " ";
  const std::string tail = fmt::format(" {:3.0f} %{}", fraction * 100, left.empty() ? "" : "  " + left);
  // A line that fills the last column would wrap on some terminals.
  const int room = columns - 1 - displayWidth(head) - displayWidth(tail) - 2;
  const auto width = std::size_t(std::clamp(room, kLeastBarWidth, kBarWidth));
  const auto filled = std::size_t(std::clamp(fraction, 0.0, 1.0) * double(width));
  const std::string bar = "[" + std::string(filled, '#') + std::string(width - filled, '.') + "]";
  return fitted(room < kLeastBarWidth ? head + tail.substr(1) : head + bar + tail, columns - 1);
}

Progress::Style Progress::styleFor(bool json) {
  if (json) return Style::silent;
  return isatty(STDERR_FILENO) ? Style::bar : Style::lines;
}

Progress::Progress(Runtime& runtime, std::string what, Style style, std::FILE* out)
    : runtime_(runtime),
      what_(std::move(what)),
      style_(style),
      out_(out),
      start_(runtime.uptime()),
      nextDrawing_(start_ + (style == Style::bar ? kFirstBar : kLineInterval)) {}

void Progress::clear() {
  if (!isDrawn_) return;
  isDrawn_ = false;
  fmt::print(out_, "\r\x1b[K");
  std::fflush(out_);
}

void Progress::show(double fraction) {
  if (style_ == Style::silent) return;
  if (fraction >= 1) return clear();
  const Duration now = runtime_.uptime();
  if (now < nextDrawing_) return;
  const double shown = std::clamp(fraction, 0.0, 1.0);
  const std::string left = timeLeft(now - start_, shown);
  style_ == Style::bar ? drawBar(shown, left) : printLine(shown, left);
  nextDrawing_ = now + (style_ == Style::bar ? kBarInterval : kLineInterval);
}

void Progress::drawBar(double fraction, const std::string& left) {
  const int columns = terminalColumns(out_);
  fmt::print(out_, "\r{}\x1b[K", progressText(what_, fraction, left, columns > 0 ? columns : kAnyColumns));
  std::fflush(out_);
  isDrawn_ = true;
}

void Progress::printLine(double fraction, const std::string& left) {
  fmt::print(out_, "{}: {:.0f} %{}\n", what_, fraction * 100, left.empty() ? "" : ", " + left);
}

}  // namespace sonmere
