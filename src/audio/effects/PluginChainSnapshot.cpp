#include "audio/effects/PluginChainSnapshot.h"

#include "dsp/VectorMath.h"

namespace sonmere {

namespace {

void noteResult(HostedPlugin& plugin, OSStatus status) noexcept SONMERE_NONBLOCKING {
  if (status == noErr) {
    if (plugin.consecutiveRenderErrors != 0) plugin.consecutiveRenderErrors = 0;
    return;
  }
  plugin.consecutiveRenderErrors.add(1);
  if (plugin.consecutiveRenderErrors >= HostedPlugin::kErrorLimit) plugin.autoBypassed = true;
}

}  // namespace

void PluginChainSnapshot::render(float* interleaved,
                                 std::uint32_t frames) const noexcept SONMERE_NONBLOCKING {
  if (frames < 1 || frames > kMaxPluginFrames) return;
  const RenderClaim::Hold hold(scratch->claim);
  if (!hold) return;
  deinterleave(interleaved, scratch->plane(0, 0), scratch->plane(0, 1), frames);
  int pair = 0;
  for (const auto& plugin : plugins) {
    if (plugin->bypassed || plugin->autoBypassed) continue;
    if (running) running->store(plugin->key, std::memory_order_relaxed);
    const float* const input[2] = {scratch->plane(pair, 0), scratch->plane(pair, 1)};
    pair = 1 - pair;
    float* const output[2] = {scratch->plane(pair, 0), scratch->plane(pair, 1)};
    const OSStatus status = plugin->instance->render(plugin->sampleTime, frames, input, output);
    plugin->sampleTime.add(frames);
    noteResult(*plugin, status);
  }
  if (running) running->store(0, std::memory_order_relaxed);
  interleave(scratch->plane(pair, 0), scratch->plane(pair, 1), interleaved, frames);
}

}  // namespace sonmere
