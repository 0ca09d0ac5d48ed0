#include "routing/monitor/MonitorRender.h"

#include <algorithm>
#include <cstring>

#include "base/RealtimeScope.h"

namespace sonmere {

namespace {

void addSource(const MonitorSource& source, float* out, std::int64_t n) noexcept {
  StereoRing* const ring = source.isEnabled() ? source.ring() : nullptr;
  if (ring) ring->reader().addLive(out, n, source.gain);
}

}  // namespace

OSStatus renderMonitor(void* refcon, const AudioTimeStamp& time, std::uint32_t frames,
                       AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  const RealtimeScope scope;
  auto& context = RenderContext::of<MonitorContext>(refcon);
  const RenderReader::Block block(*context.reader);
  context.beginCycle(time, frames);
  const bool isRetired = context.retired;
  const MonitorList* list = context.mix->list.load();
  const RenderClaim::Hold hold(context.mix->claim);
  for (AudioBuffer& buffer : buffers) {
    if (!buffer.data) break;
    std::memset(buffer.data, 0, buffer.byteSize);
    const std::int64_t n = std::min<std::int64_t>(buffer.byteSize / 4, 2 * std::int64_t(frames));
    if (isRetired || !list || !hold) continue;
    for (const auto& source : list->sources) addSource(*source, buffer.data, n);
  }
  return noErr;
}

}  // namespace sonmere
