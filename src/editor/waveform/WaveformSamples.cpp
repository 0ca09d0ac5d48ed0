#include "editor/waveform/WaveformSamples.h"

#include <algorithm>

#include "editor/track/BlockReader.h"
#include "editor/track/BlockSource.h"

namespace sonmere {

Outcome<WaveformEnvelope> waveformSamples(const std::string& path, const TrimRange& part) {
  auto reader = BlockReader::open(path);
  if (!reader) return std::unexpected(reader.error());
  if (auto sought = (*reader)->seek(part.startFrame); !sought) return std::unexpected(sought.error());
  WaveformEnvelope envelope{.channels = {},
                            .sampleRate = part.sampleRate,
                            .totalFrames = part.totalFrames,
                            .binFrames = 1,
                            .firstFrame = part.startFrame};
  envelope.channels.resize((*reader)->format().channels);
  PCMBuffer block((*reader)->format(), kSourceBlockFrames);
  for (std::int64_t left = part.length(); left > 0; left -= block.frameLength()) {
    const auto frames = std::uint32_t(std::min<std::int64_t>(left, block.frameCapacity()));
    if (auto read = (*reader)->read(block, frames); !read) return std::unexpected(read.error());
    if (block.frameLength() == 0) break;
    for (std::uint32_t channel = 0; channel < block.format().channels; ++channel)
      for (std::uint32_t i = 0; i < block.frameLength(); ++i) {
        const float sample = block.channel(channel)[i];
        envelope.channels[channel].push_back({sample, sample});
      }
  }
  return envelope;
}

}  // namespace sonmere
