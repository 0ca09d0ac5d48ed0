#include "jobs/EditJob.h"

#include "editor/export/LoudnessMeter.h"
#include "editor/export/ParallelLoudness.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SourceBitDepth.h"
#include "editor/track/TrackReader.h"
#include "jobs/ClippingNote.h"
#include "jobs/JobError.h"

namespace sonmere {

namespace {

Outcome<void> save(const MixTrackInput& track, const EditRequest& request, const JobContext& context) {
  const RecordingBitDepth depth = sourceBitDepth(track.url);
  SessionExporter::Options options{.format = request.format, .depth = depth};
  options.mayReplace = request.save->mayReplace;
  options.stream = request.save->stream;
  auto saved = SessionExporter(context.log).exportTrack(track, request.save->path, options, context.progress);
  if (saved) noteClipping(request.format, depth, context.progress);
  return saved;
}

}  // namespace

Outcome<EditResult> runEdit(const EditRequest& request, const JobContext& context) {
  auto whole = wholeFile(request.file);
  if (!whole) return badRequest(whole.error().description);
  EditResult result{std::move(*whole), std::nullopt};
  MixTrackInput& track = result.track;
  if (auto applied = applyChange(request.change, track.range, context.progress); !applied)
    return std::unexpected(applied.error());
  if (request.save)
    if (auto checked = checkTarget(*request.save, std::span(&track.url, 1)); !checked)
      return std::unexpected(checked.error());
  if (request.change.normalising)
    if (auto done = normaliseTrack(*request.change.normalising, track, context.progress); !done)
      return std::unexpected(done.error());
  if (request.measuresLoudness) {
    const auto loudness = measureFileLoudness(context.runtime, track, context.progress);
    if (!loudness) return std::unexpected(loudness.error());
    result.loudness = *loudness;
  }
  if (request.save)
    if (auto saved = save(track, request, context); !saved) return std::unexpected(saved.error());
  return result;
}

}  // namespace sonmere
