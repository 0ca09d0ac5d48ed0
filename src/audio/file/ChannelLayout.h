#pragma once

#include <cstdint>
#include <vector>

namespace sonmere {

// Where a channel of a file is meant to be heard, as far as it matters to two loudspeakers. What is above the
// listener counts as beside or in front of it.
enum class ChannelRole { left, right, centre, lfe, surroundLeft, surroundRight, surroundCentre };

// Of all channels in order; empty where the file does not say. Threads: any.
using ChannelLayout = std::vector<ChannelRole>;

// The order in which most formats keep 3 to 8 channels; empty for other counts.
ChannelLayout usualLayout(std::uint32_t channels);
// The order of Vorbis, and of what took it over.
ChannelLayout vorbisLayout(std::uint32_t channels);

}  // namespace sonmere
