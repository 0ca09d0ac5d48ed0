#include "jobs/TimeRange.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/LengthText.h"
#include "jobs/JobError.h"

namespace sonmere {

Outcome<TrimRange> trimTo(TrimRange range, const TimeRange& part) {
  const auto frameAt = [&](double seconds) { return std::llround(seconds * range.sampleRate); };
  range.startFrame = frameAt(part.from);
  range.endFrame = range.totalFrames;
  if (part.until) range.endFrame = std::min<std::int64_t>(frameAt(*part.until), range.totalFrames);
  if (range.startFrame >= range.totalFrames)
    return badRequest(fmt::format("the file ends at {}, before this part begins",
                                  lengthText(double(range.totalFrames) / range.sampleRate, 3)),
                      JobFault::trim);
  if (range.startFrame >= range.endFrame)
    return badRequest("this part has no frame of the file", JobFault::trim);
  return range;
}

}  // namespace sonmere
