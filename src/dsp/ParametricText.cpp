#include "dsp/ParametricText.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace sonmere {

namespace {

// A bell with this Q has half of its decibels an octave from its centre, as a shelf has at its corner.
constexpr double kShelfQ = 2.0 / 3;
constexpr double kPlainQ = 0.707;
// What a high- or low-pass of another Q would show: less is not worth a word.
constexpr double kQTolerance = 0.02;

struct Filter {
  std::string name;  // "Filter 3"
  std::string kind;  // "PK"
  double hz = 0, db = 0, q = kPlainQ;
  double effect = 0;  // of a bell: |dB| times octaves
};

std::string upper(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return char(std::toupper(c)); });
  return text;
}

std::vector<std::string> wordsOf(std::string_view line) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : line) {
    if (std::isspace(static_cast<unsigned char>(c)) == 0) {
      word += c;
    } else if (!word.empty()) {
      words.push_back(std::exchange(word, ""));
    }
  }
  if (!word.empty()) words.push_back(word);
  return words;
}

// "1,000" is a thousand and "0,71" a part: some write decimals with a comma.
std::optional<double> numberIn(std::string text) {
  if (const auto comma = text.find(','); comma != std::string::npos) {
    const bool isThousands = text.find('.') != std::string::npos || text.size() - comma == 4;
    isThousands ? text.erase(comma, 1) : text.replace(comma, 1, ".");
  }
  const char* const start = text.data() + (text.starts_with('+') ? 1 : 0);
  double number = 0;
  const auto [end, error] = std::from_chars(start, text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) return std::nullopt;
  return number;
}

std::optional<double> after(const std::vector<std::string>& words, std::string_view name) {
  for (std::size_t i = 0; i + 1 < words.size(); ++i)
    if (upper(words[i]) == name) return numberIn(words[i + 1]);
  return std::nullopt;
}

double octavesOf(double q) { return 2 / std::log(2.0) * std::asinh(1 / (2 * q)); }
double qOf(double octaves) { return 1 / (2 * std::sinh(std::log(2.0) / 2 * octaves)); }

std::string number(double value) {
  std::array<char, 32> text;
  std::snprintf(text.data(), text.size(), "%.4g", value);
  return text.data();
}

std::string describe(const Filter& f) {
  std::string text = f.name + " (" + f.kind + " " + number(f.hz) + " Hz";
  if (f.db != 0) text += ", " + number(f.db) + " dB";
  return text + ", Q " + number(f.q) + ")";
}

class Fit {
 public:
  void addLine(std::string_view line) {
    const auto words = wordsOf(line);
    if (words.empty() || words[0].starts_with('#') || words[0].starts_with(';')) return;
    const std::string first = upper(words[0]);
    if (first.starts_with("PREAMP")) return addPreamp(words);
    if (!first.starts_with("FILTER")) return unread(line);
    addFilter(line, words);
  }
  std::optional<ParametricFit> finish() {
    if (!hasFilter_) return std::nullopt;
    std::ranges::stable_sort(bells_, std::greater(), &Filter::effect);
    for (std::size_t i = 0; i < bells_.size(); ++i) i == 0 ? useBell(bells_[i]) : leaveOut(bells_[i]);
    fit_.settings.isEnabled = true;
    return std::move(fit_);
  }

 private:
  void note(std::string text) { fit_.notes.push_back(std::move(text)); }
  void unread(std::string_view line) { note("not understood: " + std::string(line.substr(0, 80))); }
  void leaveOut(const Filter& filter) { note(describe(filter) + " is left out: there is one bell"); }

  void addPreamp(const std::vector<std::string>& words) {
    const auto db = words.size() > 1 ? numberIn(words[1]) : std::nullopt;
    if (db && *db != 0) note("the preamp of " + number(*db) + " dB is left out: the volume does that");
  }

  void addFilter(std::string_view line, const std::vector<std::string>& words) {
    const auto on = std::ranges::find_if(
        words, [](const std::string& word) { return upper(word) == "ON" || upper(word) == "OFF"; });
    if (on == words.end()) return unread(line);
    hasFilter_ = true;
    if (upper(*on) == "OFF" || on + 1 == words.end()) return;
    Filter filter{std::string(line.substr(0, std::min(line.find(':'), line.size()))), upper(*(on + 1))};
    if (filter.kind == "NONE") return;
    const auto hz = after(words, "FC");
    if (!hz || *hz <= 0) return unread(line);
    filter.hz = *hz;
    filter.db = after(words, "GAIN").value_or(0);
    filter.q = after(words, "Q").value_or(kPlainQ);
    if (const auto octaves = after(words, "OCT"); octaves && *octaves > 0) filter.q = qOf(*octaves);
    if (filter.q <= 0) return unread(line);
    take(std::move(filter));
  }

  void take(Filter filter) {
    const std::string& kind = filter.kind;
    if (kind == "PK" || kind == "PEQ" || kind == "MODAL")
      addBell(std::move(filter));
    else if (kind.starts_with("LS") || kind.starts_with("HS"))
      addBell(std::move(filter));
    else if (kind == "HP" || kind == "HPQ")
      usePass(filter, hasHighPass_, fit_.settings.highPassFreq, "high-pass");
    else if (kind == "LP" || kind == "LPQ")
      usePass(filter, hasLowPass_, fit_.settings.lowPassFreq, "low-pass");
    else
      note(describe(filter) + " is left out: there is no such section");
  }

  static bool isShelf(const Filter& filter) { return filter.kind[1] == 'S'; }

  void addBell(Filter filter) {
    if (filter.db == 0) return;
    filter.effect = std::abs(filter.db) * octavesOf(isShelf(filter) ? kShelfQ : filter.q);
    bells_.push_back(std::move(filter));
  }

  void useBell(const Filter& filter) {
    AppEQSettings& s = fit_.settings;
    s.paraGain = std::clamp(filter.db, -24.0, 24.0);
    s.paraFreq = std::clamp(filter.hz, 20.0, 20000.0);
    s.paraQ = std::clamp(filter.q, 0.1, 10.0);
    if (isShelf(filter)) {
      s.paraFreq = std::clamp(filter.kind[0] == 'L' ? filter.hz / 2 : filter.hz * 2, 20.0, 20000.0);
      s.paraQ = kShelfQ;
      note(describe(filter) + " is taken as a wide bell at " + number(s.paraFreq) + " Hz: there is no shelf");
    } else if (s.paraGain != filter.db || s.paraFreq != filter.hz || s.paraQ != filter.q) {
      note(describe(filter) + " is held to what a bell can be");
    }
  }

  void usePass(const Filter& filter, bool& isTaken, double& target, const char* what) {
    if (std::exchange(isTaken, true)) return note(describe(filter) + " is left out: there is one " + what);
    const bool isHigh = &target == &fit_.settings.highPassFreq;
    target = isHigh ? std::clamp(filter.hz, 20.0, 2000.0) : std::clamp(filter.hz, 1000.0, 20000.0);
    if (target != filter.hz) note(describe(filter) + " is held to " + number(target) + " Hz");
    if (std::abs(filter.q - kPlainQ) > kQTolerance)
      note(describe(filter) + ": the Q is left out, a " + what + " has " + number(kPlainQ));
  }

  ParametricFit fit_;
  std::vector<Filter> bells_;
  bool hasFilter_ = false, hasHighPass_ = false, hasLowPass_ = false;
};

}  // namespace

std::optional<ParametricFit> fitParametric(std::string_view text) {
  Fit fit;
  // A byte order mark is none of the text.
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    if (line.ends_with('\r')) line.remove_suffix(1);
    fit.addLine(line);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return fit.finish();
}

}  // namespace sonmere
