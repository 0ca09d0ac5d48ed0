#include "dsp/RTDoubles.h"

#include <algorithm>

namespace sonmere {

RTDoubles::RTDoubles(std::size_t count) : count_(count), storage_(new std::atomic<double>[count]) {
  zeroFill();
}

void RTDoubles::copy(std::span<const double> values) noexcept {
  for (std::size_t i = 0; i < std::min(values.size(), count_); ++i) set(i, values[i]);
  countChange();
}

void RTDoubles::zeroFill() noexcept {
  for (std::size_t i = 0; i < count_; ++i) set(i, 0.0);
  countChange();
}

}  // namespace sonmere
