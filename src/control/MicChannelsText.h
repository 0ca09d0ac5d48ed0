#pragma once

#include <optional>
#include <string>
#include <utility>

#include "input/MicChannelMap.h"

namespace sonmere {

constexpr int kMostMicChannels = 64;

// Which channels of the microphone are left and right, as it is written: "auto", "1", "2", "stereo", or two
// channels from 1 as "3,4".
std::optional<std::pair<InputChannelMode, ChannelPair>> micChannelsFromText(const std::string& text);
std::string micChannelsText(InputChannelMode mode, ChannelPair custom);
inline bool isMicChannels(const std::string& text) { return micChannelsFromText(text).has_value(); }

}  // namespace sonmere
