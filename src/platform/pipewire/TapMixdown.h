#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/RealtimeScope.h"
#include "platform/pipewire/CycleStream.h"

namespace sonmere {

// How channels of any layout become the stereo of a tap: those of the sides and the centre at -3 dB, a single
// one behind at -6 dB, no low-frequency effects (ITU-R BS.775, table 2). The server adds what is linked to
// one port, so that a tap's stream has one port for each weight, and the weights are applied here.
struct TapMixdown {
  // The ports of a tap's stream.
  static const std::vector<std::string>& positions();
  // Those of them that take a channel of that name.
  static std::vector<std::string> targets(std::string_view channel);
  // Which of a program's ports are to be taken. The session gives a stream the ports of the device that it
  // plays to, and fills those that the program does not have from the others: where all of the program's own
  // channels are among them, they are the sound as it was played.
  static std::vector<std::string> wanted(const std::vector<std::string>& ports,
                                         const std::vector<std::string>& own);
  // Folds a cycle of such a stream to stereo, in its place. Render thread.
  static CycleStream::Cycle fold(const CycleStream::Cycle& cycle) noexcept SONMERE_NONBLOCKING;
};

}  // namespace sonmere
