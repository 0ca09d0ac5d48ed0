#pragma once

#include <string>
#include <vector>

#include "audio/file/ChannelLayout.h"

namespace sonmere {

// What becomes of more than two channels where there are two, by Recommendation ITU-R BS.775: centre and
// surrounds at -3 dB, a single surround at -6 dB on either side, no LFE. Nothing is scaled or limited: the
// front stays as loud as it was. Where the file does not say which channel is which, the usual order is taken
// and nothing left out, since what looks like an LFE may be a microphone. Threads: any.
class StereoDownmix {
 public:
  // At least one channel; of one it is heard on both sides, and two stay as they are.
  StereoDownmix(std::uint32_t channels, const ChannelLayout& layout);

  struct Gains {
    float left = 0, right = 0;
  };
  // Of each channel.
  const std::vector<Gains>& gains() const { return gains_; }
  // What the user is told; empty for one and two channels.
  const std::string& note() const { return note_; }

 private:
  std::vector<Gains> gains_;
  std::string note_;
};

}  // namespace sonmere
