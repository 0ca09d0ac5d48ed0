#include "cli/EqualiserText.h"

#include <fmt/format.h>

#include <set>

#include "cli/ArgumentText.h"

namespace sonmere {

namespace {

struct Range {
  const char* name;
  double lo, hi;
};

class SectionReader {
 public:
  SectionReader(const std::string& argument, RangeRule rule) : argument_(argument), rule_(rule) {}

  Outcome<void> read(const std::string& section, AppEQSettings& settings) {
    const auto parts = splitText(section, ':');
    if (!named_.insert(parts[0]).second)
      return badArgument(fmt::format("{}: the section \"{}\" is given twice", argument_, parts[0]));
    Outcome<void> taken;
    if (parts[0] == "hp" && parts.size() == 2) {
      taken = value(parts[1], {"high-pass frequency in Hz", 20, 2000}, settings.highPassFreq);
    } else if (parts[0] == "lp" && parts.size() == 2) {
      taken = value(parts[1], {"low-pass frequency in Hz", 1000, 20000}, settings.lowPassFreq);
    } else if (parts[0] == "bell" && parts.size() == 4) {
      taken = value(parts[1], {"bell frequency in Hz", 20, 20000}, settings.paraFreq);
      if (taken) taken = value(parts[2], {"bell gain in dB", -24, 24}, settings.paraGain);
      if (taken) taken = value(parts[3], {"bell Q", 0.1, 10}, settings.paraQ);
    } else {
      taken = badArgument(
          fmt::format("{}: \"{}\" is not a section; use hp:HZ, bell:HZ:DB:Q, lp:HZ with commas between",
                      argument_, section));
    }
    return taken;
  }

 private:
  Outcome<void> value(const std::string& text, const Range& range, double& target) {
    const auto parsed = readNumber(text);
    const bool isOutside = parsed && (*parsed < range.lo || *parsed > range.hi);
    if (!parsed || (isOutside && rule_ == RangeRule::refuse))
      return badArgument(
          fmt::format("{}: \"{}\" is no {}; use {} to {}", argument_, text, range.name, range.lo, range.hi));
    target = *parsed;
    return {};
  }

  const std::string& argument_;
  const RangeRule rule_;
  std::set<std::string> named_;
};

}  // namespace

Outcome<AppEQSettings> readEqualiser(const std::string& argument, const std::string& text, RangeRule rule) {
  AppEQSettings settings;
  settings.isEnabled = true;
  SectionReader reader(argument, rule);
  for (const std::string& section : splitText(text, ','))
    if (auto taken = reader.read(section, settings); !taken) return std::unexpected(taken.error());
  return settings;
}

}  // namespace sonmere
