#include "platform/simulated/AppVoice.h"

#include <algorithm>

namespace sonmere {

void AppVoice::render(float* stereo, std::uint32_t frames) {
  const std::uint32_t made = ended_ ? 0 : source_->render(stereo, frames);
  if (made == frames) return;
  std::fill(stereo + 2 * std::size_t(made), stereo + 2 * std::size_t(frames), 0.0f);
  if (!ended_) onEnded_();
  ended_ = true;
}

}  // namespace sonmere
