#include "jobs/WaveformJob.h"

#include <fmt/format.h>

#include <algorithm>

#include "editor/export/ExportDestination.h"
#include "editor/export/SessionExporter.h"
#include "editor/track/TrackReader.h"
#include "editor/waveform/WaveformPNG.h"
#include "editor/waveform/WaveformPeakAnalyzer.h"
#include "editor/waveform/WaveformSVG.h"
#include "editor/waveform/WaveformSamples.h"
#include "jobs/JobError.h"
#include "recording/RecordingReader.h"

namespace sonmere {

namespace {

// Through a file beside it, as exports are.
Outcome<void> writePicture(const ExportTarget& target, const std::string& bytes, const std::string& source) {
  const std::span data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  if (target.isStream()) {
    auto stream = ExportFile::stream(target.stream, target.path);
    if (!stream) return std::unexpected(stream.error());
    if (auto written = stream->append(data); !written) return written;
    return stream->close();
  }
  auto destination = ExportDestination::prepare(target.path, std::span(&source, 1), target.mayReplace);
  if (!destination) return std::unexpected(destination.error());
  auto file = destination->open();
  if (!file) return std::unexpected(file.error());
  if (auto written = file->append(data); !written) return written;
  if (auto closed = file->close(); !closed) return closed;
  return destination->commit();
}

// Where the whole file's bins are wider than a pixel the samples themselves are drawn.
Outcome<WaveformLayout> layOutView(const WaveformResult& found, const WaveformRequest& request) {
  const auto draw = [&](const WaveformEnvelope& drawn) {
    return layOut(drawn, found.view.startFrame, std::min(found.view.endFrame, found.envelope.totalFrames),
                  request.width, request.height, request.scale, request.title);
  };
  if (found.view.length() >= found.envelope.binFrames * request.width) return draw(found.envelope);
  const auto samples = waveformSamples(request.file, found.view);
  return samples ? draw(*samples) : draw(found.envelope);
}

Outcome<void> writePictures(const WaveformLayout& layout, const WaveformRequest& request) {
  const WaveformColours colours = request.isLight ? WaveformColours::light() : WaveformColours{};
  if (request.png) {
    const auto png = waveformPNG(layout, colours);
    if (!png) return std::unexpected(png.error());
    if (auto written = writePicture(*request.png, *png, request.file); !written) return written;
  }
  if (!request.svg) return {};
  return writePicture(*request.svg, waveformSVG(layout, colours), request.file);
}

// What is behind the dash; in front of it is where in the program it happened.
std::string reasonIn(const std::string& line) {
  constexpr std::string_view kDash = " \u2014 ";
  const std::size_t at = line.find(kDash);
  return at == std::string::npos ? line : line.substr(at + kDash.size());
}

Outcome<WaveformEnvelope> readPeaks(const std::string& file, ExportProgress& progress) {
  std::optional<std::string> damage;
  Log log;
  log.addSink([&](LogLevel, const std::string& line) { damage = reasonIn(line); });
  auto envelope = WaveformPeakAnalyzer(log).analyze(
      file, &progress.cancelFlag(), [&](double done) { progress.advanceTo(done); },
      WaveformPeakAnalyzer::Detail::extremesAndLevels);
  if (progress.isCancelled())
    return std::unexpected(Error{kExportCancelledDomain, 1, "the reading was cancelled"});
  if (!envelope) return std::unexpected(Error{"WaveformJob", 1, damage.value_or("could not read " + file)});
  if (damage) progress.note(*damage + "; what follows is drawn as silence");
  return std::move(*envelope);
}

}  // namespace

Outcome<WaveformResult> drawWaveform(const WaveformRequest& request, const JobContext& context) {
  for (const auto& target : {request.png, request.svg})
    if (target)
      if (auto checked = checkTarget(*target, std::span(&request.file, 1)); !checked)
        return std::unexpected(checked.error());
  const auto whole = wholeFile(request.file);
  if (!whole) return badRequest(whole.error().description);
  auto view = trimTo(whole->range, request.view);
  if (!view) return std::unexpected(view.error());
  if (const auto track = TrackReader::open(*whole)) context.progress.note((*track)->notes());
  auto envelope = readPeaks(request.file, context.progress);
  if (!envelope) return std::unexpected(envelope.error());
  WaveformResult result{*view, std::move(*envelope)};
  auto layout = layOutView(result, request);
  if (!layout) return badRequest(layout.error().description);
  if (const auto reader = openRecording(request.file))
    placeMarks(*layout, (*reader)->details().marks, result.view.startFrame, result.view.endFrame);
  if (auto written = writePictures(*layout, request); !written) return std::unexpected(written.error());
  return result;
}

}  // namespace sonmere
