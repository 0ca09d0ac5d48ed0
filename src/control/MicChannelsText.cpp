#include "control/MicChannelsText.h"

#include <fmt/format.h>

#include <cmath>
#include <map>

#include "base/NumberText.h"

namespace sonmere {

namespace {

using enum InputChannelMode;

const std::map<std::string, InputChannelMode>& modes() {
  static const std::map<std::string, InputChannelMode> all{
      {"auto", automatic}, {"1", input1}, {"2", input2}, {"stereo", stereo}};
  return all;
}

// From 0; nothing for what is no channel.
std::optional<int> channelFromText(const std::string& text) {
  const auto number = readNumber(text);
  if (!number || *number < 1 || *number > kMostMicChannels || *number != std::floor(*number))
    return std::nullopt;
  return int(*number) - 1;
}

}  // namespace

std::optional<std::pair<InputChannelMode, ChannelPair>> micChannelsFromText(const std::string& text) {
  if (const auto mode = modes().find(text); mode != modes().end())
    return std::pair(mode->second, ChannelPair{0, 1});
  const auto comma = text.find(',');
  if (comma == text.npos) return std::nullopt;
  const auto left = channelFromText(text.substr(0, comma)), right = channelFromText(text.substr(comma + 1));
  if (!left || !right) return std::nullopt;
  return std::pair(custom, ChannelPair{*left, *right});
}

std::string micChannelsText(InputChannelMode mode, ChannelPair pair) {
  for (const auto& [text, each] : modes())
    if (each == mode) return text;
  return fmt::format("{},{}", pair.left + 1, pair.right + 1);
}

}  // namespace sonmere
