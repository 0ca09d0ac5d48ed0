#pragma once

#include <optional>
#include <string>

namespace sonmere {

struct WaveformArguments {
  std::string file;
  std::optional<std::string> png, svg;
  int width = 1200, height = 300;
  std::optional<std::string> from, to;
  bool decibels = false;
  bool light = false;
  bool force = false;
  bool json = false;
};

// "sonmere waveform": draws a file. Returns the exit status. Main thread.
int runWaveformCommand(const WaveformArguments& arguments);

}  // namespace sonmere
