#include "cli/EqualiserText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include "cli/ArgumentText.h"
#include "dsp/Equaliser.h"

namespace sonmere {

namespace {

class SectionReader {
 public:
  explicit SectionReader(const std::string& argument) : argument_(argument) {}

  Outcome<void> read(const std::string& section, AppEQSettings& settings) {
    const auto parts = splitText(section, ':');
    if (!named_.insert(parts[0]).second)
      return badArgument(fmt::format("{}: the section \"{}\" is given twice", argument_, parts[0]));
    if (parts[0] == "hp" && parts.size() == 2)
      return value(parts[1], "high-pass frequency in Hz", settings.highPassFreq);
    if (parts[0] == "lp" && parts.size() == 2)
      return value(parts[1], "low-pass frequency in Hz", settings.lowPassFreq);
    if (parts[0] == "bell" && parts.size() == 4) return readBell(parts, settings);
    return badArgument(
        fmt::format("{}: \"{}\" is not a section; use hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between",
                    argument_, section));
  }

 private:
  Outcome<void> readBell(const std::vector<std::string>& parts, AppEQSettings& settings) {
    auto taken = value(parts[1], "bell frequency in Hz", settings.paraFreq);
    if (taken) taken = value(parts[2], "bell gain in dB", settings.paraGain);
    if (taken) taken = value(parts[3], "bell Q", settings.paraQ);
    return taken;
  }
  Outcome<void> value(const std::string& text, const char* what, double& target) {
    const auto parsed = readNumber(text);
    if (!parsed) return badArgument(fmt::format("{}: \"{}\" is no {}", argument_, text, what));
    target = *parsed;
    return {};
  }

  const std::string& argument_;
  std::set<std::string> named_;
};

constexpr int kCurveWidth = 60;
constexpr int kCurveHeightDb = 24;
constexpr int kCurveStepDb = 6;

// The frequency above a column of the graph, Hz.
double frequencyAt(int column) { return 20 * std::pow(1000.0, double(column) / (kCurveWidth - 1)); }

std::string curveLine(const std::array<int, kCurveWidth>& levels, int level) {
  std::string line = fmt::format("{:>+4} dB ", level);
  for (const int each : levels) line += each == level ? '*' : level == 0 ? '-' : ' ';
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
}

}  // namespace

Outcome<AppEQSettings> readEqualiser(const std::string& argument, const std::string& text) {
  AppEQSettings settings;
  settings.isEnabled = true;
  SectionReader reader(argument);
  for (const std::string& section : splitText(text, ','))
    if (auto taken = reader.read(section, settings); !taken) return std::unexpected(taken.error());
  return settings;
}

std::string equaliserSections(const AppEQSettings& settings) {
  const AppEQSettings flat;
  std::string sections;
  const auto add = [&](bool isSet, const std::string& text) {
    if (isSet) sections += (sections.empty() ? "" : ",") + text;
  };
  add(settings.highPassFreq != flat.highPassFreq, fmt::format("hp:{}", settings.highPassFreq));
  add(settings.paraGain != 0,
      fmt::format("bell:{}:{}:{}", settings.paraFreq, settings.paraGain, settings.paraQ));
  add(settings.lowPassFreq != flat.lowPassFreq, fmt::format("lp:{}", settings.lowPassFreq));
  return sections.empty() ? "flat" : sections;
}

std::string equaliserCurve(const AppEQSettings& settings) {
  std::array<int, kCurveWidth> levels{};
  for (int column = 0; column < kCurveWidth; ++column) {
    const double level = equaliserCurveDb(settings, frequencyAt(column)) / kCurveStepDb;
    levels[std::size_t(column)] =
        std::clamp(int(std::lround(level)) * kCurveStepDb, -kCurveHeightDb, kCurveHeightDb);
  }
  std::string graph;
  for (int level = kCurveHeightDb; level >= -kCurveHeightDb; level -= kCurveStepDb)
    graph += curveLine(levels, level);
  return graph + fmt::format("{:8}{:<20}{:<20}{:<15}{}\n", "", "20 Hz", "200", "2k", "20k");
}

}  // namespace sonmere
