#include "jobs/SessionExport.h"

#include <fmt/format.h>

#include <cmath>

#include "editor/export/LoudnessMeter.h"
#include "editor/export/PeakMeter.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SessionMix.h"
#include "editor/track/TrimEdit.h"
#include "jobs/ClippingNote.h"
#include "jobs/JobError.h"

namespace sonmere {

Outcome<void> SessionExport::check() const {
  if (!isMix()) {
    // Muted or not, each is exported.
    if (open_.unreadableInMix()) return checkMix(open_);
    return checkTargetFolder(request_.out.path);
  }
  if (auto checked = checkMix(open_); !checked) return checked;
  return checkTarget(request_.out, open_.urls());
}

Outcome<float> SessionExport::gain() {
  if (request_.gainDb) return gainOfDecibels(*request_.gainDb, context_.progress);
  if (!request_.normalising) return 1;
  if (isMix()) return normalisingGain(*request_.normalising);
  return badRequest("only a mix can be normalised");
}

Outcome<float> SessionExport::normalisingGain(const Normalising& normalising) {
  if (normalising.targetLUFS) {
    const auto loudness = measureMix(open_, context_);
    if (!loudness) return std::unexpected(loudness.error());
    return gainForLoudness(*loudness, *normalising.targetLUFS, context_.progress);
  }
  const auto peak = mixPeak();
  if (!peak) return peak;
  return TrimEdit::normalizingGain(*peak, 1);
}

Outcome<float> SessionExport::mixPeak() {
  auto mix = SessionMix::open(open_.audible(), open_.sampleRate());
  if (!mix) return std::unexpected(mix.error());
  return measurePeak(**mix, context_.progress);
}

Outcome<void> SessionExport::foretellClipping() {
  if (!isMix() || holdsAllLevels(request_.format, request_.depth)) return {};
  const auto peak = mixPeak();
  if (!peak) return std::unexpected(peak.error());
  if (*peak <= 1) return {};
  const double over = 20 * std::log10(double(*peak));
  context_.progress.note(
      fmt::format("the mix is {:.1f} dB above full scale and will be clipped; a gain of {:.1f} dB or "
                  "normalising keeps it",
                  over, std::floor(-10 * over) / 10));
  return {};
}

Outcome<void> SessionExport::prepare() {
  if (auto checked = check(); !checked) return checked;
  const auto found = gain();
  if (!found) return std::unexpected(found.error());
  for (SessionTrack& track : open_.tracks) track.input.range.gainLinear *= *found;
  return foretellClipping();
}

Outcome<std::vector<std::string>> SessionExport::write() {
  SessionExporter exporter(context_.log);
  SessionExporter::Options options{.format = request_.format, .depth = request_.depth};
  options.mayReplace = request_.out.mayReplace;
  options.sampleRate = open_.sampleRate();
  options.originals = open_.urls();
  options.stream = request_.out.stream;
  if (isMix()) {
    const auto done = exporter.exportMix(open_.audible(), request_.out.path, options, context_.progress);
    if (!done) return std::unexpected(done.error());
    return std::vector{request_.out.path};
  }
  std::vector<SessionExporter::Stem> stems;
  for (const SessionTrack& track : open_.tracks)
    if (!track.unreadable) stems.push_back({track.input, track.name});
  auto paths = exporter.exportStems(stems, request_.out.path, options, context_.progress);
  if (paths) noteClipping(request_.format, request_.depth, context_.progress);
  return paths;
}

}  // namespace sonmere
