#include "audio/playback/PlaybackRender.h"

#include "audio/device/AudioBuffers.h"
#include "audio/playback/PlaybackProgram.h"

namespace sonmere {

OSStatus renderPlayback(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                        AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = RenderContext::of<PlaybackContext>(refcon);
  const RenderReader::Block block(*context.reader);
  context.beginCycle(time, frames);
  silence(buffers);
  const PlaybackProgram* program = context.program.load();
  const AudioBuffer* buffer = firstFilled(buffers);
  if (!program || !buffer || buffer->channels != 2) return noErr;
  const std::int64_t count = std::min<std::int64_t>(frames, buffer->byteSize / (2 * sizeof(float)));
  RTPosition& timeline = program->timeline->frame;
  const std::int64_t at = timeline.loadRelaxed();
  for (const auto& stream : program->streams) stream->mixInto(buffer->data, at, count);
  timeline.storeRelease(at + count);
  return noErr;
}

}  // namespace sonmere
