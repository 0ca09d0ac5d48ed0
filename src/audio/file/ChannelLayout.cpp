#include "audio/file/ChannelLayout.h"

namespace sonmere {

namespace {

using enum ChannelRole;
constexpr std::uint32_t kFewest = 3;

ChannelLayout entry(const std::vector<ChannelLayout>& table, std::uint32_t channels) {
  return channels >= kFewest && channels - kFewest < table.size() ? table[channels - kFewest]
                                                                  : ChannelLayout{};
}

}  // namespace

ChannelLayout usualLayout(std::uint32_t channels) {
  static const std::vector<ChannelLayout> table = {
      {left, right, centre},
      {left, right, surroundLeft, surroundRight},
      {left, right, centre, surroundLeft, surroundRight},
      {left, right, centre, lfe, surroundLeft, surroundRight},
      {left, right, centre, lfe, surroundCentre, surroundLeft, surroundRight},
      {left, right, centre, lfe, surroundLeft, surroundRight, surroundLeft, surroundRight}};
  return entry(table, channels);
}

ChannelLayout vorbisLayout(std::uint32_t channels) {
  static const std::vector<ChannelLayout> table = {
      {left, centre, right},
      {left, right, surroundLeft, surroundRight},
      {left, centre, right, surroundLeft, surroundRight},
      {left, centre, right, surroundLeft, surroundRight, lfe},
      {left, centre, right, surroundLeft, surroundRight, surroundCentre, lfe},
      {left, centre, right, surroundLeft, surroundRight, surroundLeft, surroundRight, lfe}};
  return entry(table, channels);
}

}  // namespace sonmere
