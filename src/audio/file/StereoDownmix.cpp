#include "audio/file/StereoDownmix.h"

#include <fmt/format.h>

#include <algorithm>
#include <numbers>

namespace sonmere {

namespace {

constexpr float kMinus3Db = std::numbers::sqrt2_v<float> / 2;
constexpr StereoDownmix::Gains kBothSides{kMinus3Db, kMinus3Db};

StereoDownmix::Gains gainsOf(ChannelRole role) {
  switch (role) {
    case ChannelRole::left:
      return {1, 0};
    case ChannelRole::right:
      return {0, 1};
    case ChannelRole::centre:
      return kBothSides;
    case ChannelRole::lfe:
      return {0, 0};
    case ChannelRole::surroundLeft:
      return {kMinus3Db, 0};
    case ChannelRole::surroundRight:
      return {0, kMinus3Db};
    case ChannelRole::surroundCentre:
      return {0.5f, 0.5f};
  }
  return kBothSides;
}

std::string noteOf(std::uint32_t channels, const ChannelLayout& layout) {
  const bool isKnown = layout.size() == channels;
  const std::string what = fmt::format("{} channels were mixed down to two", channels);
  if (!isKnown)
    return what + "; the file does not say which is which: the usual order was taken and none left out";
  const bool hasLFE = std::ranges::count(layout, ChannelRole::lfe) > 0;
  return what +
         (hasLFE ? ", centre and surrounds at -3 dB and without the LFE" : ", centre and surrounds at -3 dB");
}

}  // namespace

StereoDownmix::StereoDownmix(std::uint32_t channels, const ChannelLayout& layout) {
  if (channels == 1) gains_ = {{1, 1}};
  if (channels == 2) gains_ = {{1, 0}, {0, 1}};
  if (channels <= 2) return;
  note_ = noteOf(channels, layout);
  const bool isKnown = layout.size() == channels;
  const ChannelLayout roles = isKnown ? layout : usualLayout(channels);
  for (const ChannelRole role : roles)
    gains_.push_back(role == ChannelRole::lfe && !isKnown ? kBothSides : gainsOf(role));
  gains_.resize(channels, kBothSides);
}

}  // namespace sonmere
