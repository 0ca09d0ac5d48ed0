#include "platform/pipewire/TapMixdown.h"

#include <algorithm>
#include <numbers>

namespace sonmere {

namespace {

enum Port : std::size_t { left, right, centre, leftSide, rightSide, behind, portCount };

constexpr float kSide = float(std::numbers::sqrt2 / 2), kBehind = 0.5f;

bool contains(const std::vector<std::string>& list, std::string_view name) {
  return std::ranges::find(list, name) != list.end();
}

bool isFrontPair(std::string_view channel, char side) {
  return channel == std::string{'F', side} || channel == std::string{'F', side, 'C'} ||
         channel == std::string{'F', side, 'W'} || channel == std::string{'F', side, 'H'};
}

}  // namespace

const std::vector<std::string>& TapMixdown::positions() {
  static const std::vector<std::string> all = {"FL", "FR", "FC", "SL", "SR", "RC"};
  return all;
}

std::vector<std::string> TapMixdown::targets(std::string_view channel) {
  if (channel.contains("LFE")) return {};
  if (channel.starts_with("AUX")) return {(channel.back() - '0') % 2 == 0 ? "FL" : "FR"};
  if (channel == "FC" || channel == "FCH" || channel == "BC") return {"FC"};
  if (isFrontPair(channel, 'L')) return {"FL"};
  if (isFrontPair(channel, 'R')) return {"FR"};
  if (channel == "RC" || channel == "TC" || channel == "TFC" || channel == "TRC") return {"RC"};
  if (channel.ends_with('L') || channel.ends_with("LC")) return {"SL"};
  if (channel.ends_with('R') || channel.ends_with("RC")) return {"SR"};
  return {"FL", "FR"};
}

std::vector<std::string> TapMixdown::wanted(const std::vector<std::string>& ports,
                                            const std::vector<std::string>& own) {
  const std::vector<std::string> pair = {"FL", "FR"};
  // A single channel is copied to all.
  const auto& sought = own.size() <= 1 ? pair : own;
  const bool areAllThere =
      std::ranges::all_of(sought, [&](const auto& channel) { return contains(ports, channel); });
  return areAllThere ? sought : ports;
}

CycleStream::Cycle TapMixdown::fold(const CycleStream::Cycle& cycle) noexcept {
  CycleStream::Cycle stereo = cycle;
  stereo.channels = 2;
  const float* from = cycle.samples;
  float* to = stereo.samples;
  for (std::uint32_t i = 0; i < cycle.frames; ++i, from += portCount, to += 2) {
    const float l = from[left] + kSide * (from[centre] + from[leftSide]) + kBehind * from[behind];
    const float r = from[right] + kSide * (from[centre] + from[rightSide]) + kBehind * from[behind];
    to[0] = l;
    to[1] = r;
  }
  return stereo;
}

}  // namespace sonmere
