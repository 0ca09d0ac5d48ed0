#pragma once

#include <memory>
#include <vector>

#include "audio/engine/RenderContext.h"
#include "audio/playback/PlaybackStream.h"
#include "base/Published.h"

namespace sonmere {

// What tracks are in step with: frames rendered, at the device's rate. The render advances it.
struct PlaybackTimeline {
  RTPosition frame;
};

// The tracks that play together; replaced as a whole. A program that goes on with its predecessor's timeline
// takes over without a gap.
struct PlaybackProgram {
  std::vector<std::shared_ptr<PlaybackStream>> streams;
  std::shared_ptr<PlaybackTimeline> timeline;
};

// What one output unit's callback works on. Lives until the unit is disposed of.
struct PlaybackContext : RenderContext {
  using RenderContext::RenderContext;

  Published<const PlaybackProgram> program;
};

}  // namespace sonmere
