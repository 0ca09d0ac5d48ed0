#include "control/EffectLimits.h"

#include <fmt/format.h>

#include <algorithm>

namespace sonmere {

double heldTo(const char* what, double value, double low, double high, const char* unit,
              std::vector<std::string>& notes) {
  if (value >= low && value <= high) return value;
  const double held = value > high ? high : low;
  notes.push_back(fmt::format("{} held to {}{}", what, held, unit));
  return held;
}

AppEQSettings heldToRange(AppEQSettings settings, std::vector<std::string>& notes) {
  settings.highPassFreq = heldTo("high-pass frequency", settings.highPassFreq, 20, 2000, " Hz", notes);
  settings.lowPassFreq = heldTo("low-pass frequency", settings.lowPassFreq, 1000, 20000, " Hz", notes);
  settings.paraFreq = heldTo("bell frequency", settings.paraFreq, 20, 20000, " Hz", notes);
  settings.paraGain = heldTo("bell gain", settings.paraGain, -24, 24, " dB", notes);
  settings.paraQ = heldTo("bell Q", settings.paraQ, 0.1, 10, "", notes);
  return settings;
}

double heldCeiling(double ceilingDb, std::vector<std::string>& notes) {
  return heldTo("limiter ceiling", ceilingDb, -12, 0, " dB", notes);
}

float heldVolume(float volume, float largest, std::vector<std::string>& notes) {
  return float(heldTo("volume", double(volume) * 100, 0, double(largest) * 100, " %", notes) / 100);
}

}  // namespace sonmere
