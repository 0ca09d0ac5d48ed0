#include "ui/editor/EditedProject.h"

#include <cmath>

namespace sonmere {

std::int64_t EditedProject::trackFrame(std::size_t track, std::int64_t frame) const {
  const double rate = tracks()[track].engine->format().sampleRate;
  return std::llround(static_cast<double>(frame) * rate / sampleRate());
}

std::int64_t EditedProject::timelineFrame(std::size_t track, std::int64_t frame) const {
  const double rate = tracks()[track].engine->format().sampleRate;
  return std::llround(static_cast<double>(frame) * sampleRate() / rate);
}

}  // namespace sonmere
