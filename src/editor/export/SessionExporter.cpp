#include "editor/export/SessionExporter.h"

#include <fmt/format.h>

#include <cmath>
#include <filesystem>
#include <set>

#include "dsp/VectorMath.h"
#include "editor/export/ExportDestination.h"
#include "editor/export/ExportTags.h"
#include "editor/export/ExportWriter.h"
#include "editor/export/SessionMix.h"
#include "editor/export/StemName.h"
#include "editor/export/StereoSource.h"
#include "editor/track/ResampledSource.h"
#include "editor/track/TrackReader.h"

namespace sonmere {

namespace {

std::vector<std::string> urlsOf(const std::vector<MixTrackInput>& tracks) {
  std::vector<std::string> urls;
  for (const MixTrackInput& track : tracks) urls.push_back(track.url);
  return urls;
}

// `pace` is how far a frame brings the progress.
Outcome<void> pump(BlockSource& source, ExportWriter& writer, double pace, ExportProgress& progress) {
  PCMBuffer block(source.format(), kSourceBlockFrames);
  while (true) {
    if (progress.isCancelled())
      return std::unexpected(Error{kExportCancelledDomain, 1, "the export was cancelled"});
    if (auto read = source.read(block, block.frameCapacity()); !read) return read;
    if (block.frameLength() == 0) {
      progress.note(source.notes());
      return writer.finish();
    }
    if (auto written = writer.write(block); !written) return written;
    for (std::uint32_t channel = 0; channel < block.format().channels; ++channel)
      progress.notePeak(maxMagnitude(block.channel(channel), block.frameLength()));
    progress.advance(std::llround(pace * block.frameLength()));
  }
}

// Most formats have two channels at most, and not all have all rates.
std::unique_ptr<BlockSource> fitting(std::unique_ptr<BlockSource> source, const ExportFormat& format,
                                     ExportProgress& progress) {
  const std::uint32_t channels = source->format().channels;
  if (channels > exportChannels(format)) {
    StereoDownmix downmix(channels, source->layout());
    progress.note(downmix.note());
    source = std::make_unique<StereoSource>(std::move(source), std::move(downmix));
  }
  const double rate = source->format().sampleRate, ownRate = exportRate(format, rate);
  if (ownRate == rate) return source;
  if (ownRate < rate)
    progress.note(
        fmt::format("{} has no rate of {:.0f} Hz; the file has {:.0f} Hz", name(format), rate, ownRate));
  return std::make_unique<ResampledSource>(std::move(source), ownRate);
}

// Fills a file to its end.
Outcome<void> render(std::unique_ptr<BlockSource> track, Outcome<ExportFile> file,
                     const SessionExporter::Options& options, const AudioFileTags& tags,
                     ExportProgress& progress) {
  if (!file) return std::unexpected(file.error());
  const double rate = track->format().sampleRate;
  const auto source = fitting(std::move(track), options.format, progress);
  auto writer = makeExportWriter(std::move(*file), options.format,
                                 {source->format(), source->length(), options.depth, tags});
  if (!writer) return std::unexpected(writer.error());
  return pump(*source, **writer, rate / source->format().sampleRate, progress);
}

bool exists(const std::string& path) {
  std::error_code ignored;
  return std::filesystem::symlink_status(path, ignored).type() != std::filesystem::file_type::not_found;
}

}  // namespace

Outcome<void> SessionExporter::exportTrack(const MixTrackInput& track, const std::string& destination,
                                           const Options& options, ExportProgress& progress) {
  auto source = TrackReader::open(track);
  if (!source) return std::unexpected(source.error());
  return exportTo(destination, std::move(*source), {track.url}, options, progress);
}

Outcome<void> SessionExporter::exportMix(const std::vector<MixTrackInput>& tracks,
                                         const std::string& destination, const Options& options,
                                         ExportProgress& progress) {
  auto mix = SessionMix::open(tracks, options.sampleRate);
  const Outcome<void> done = mix ? exportTo(destination, std::move(*mix), urlsOf(tracks), options, progress)
                                 : Outcome<void>(std::unexpected(mix.error()));
  if (!done) log_.error("SessionExporter: mix failed: " + done.error().description);
  return done;
}

Outcome<void> SessionExporter::exportTo(const std::string& path, std::unique_ptr<BlockSource> source,
                                        std::vector<std::string> sources, const Options& options,
                                        ExportProgress& progress) {
  progress.begin(source->length());
  if (options.stream >= 0)
    return render(std::move(source), ExportFile::stream(options.stream, path), options,
                  exportTags("", sources.front()), progress);
  const AudioFileTags tags = exportTags(path, sources.front());
  sources.insert(sources.end(), options.originals.begin(), options.originals.end());
  auto destination = ExportDestination::prepare(path, sources, options.mayReplace);
  if (!destination) return std::unexpected(destination.error());
  if (auto rendered = render(std::move(source), destination->open(), options, tags, progress); !rendered)
    return rendered;
  return destination->commit();
}

Outcome<std::vector<std::string>> SessionExporter::exportStems(const std::vector<Stem>& stems,
                                                               const std::string& folder,
                                                               const Options& options,
                                                               ExportProgress& progress) {
  auto done = writeStems(stems, folder, options, progress);
  if (!done) log_.error("SessionExporter: stems failed: " + done.error().description);
  return done;
}

Outcome<std::vector<std::string>> SessionExporter::writeStems(const std::vector<Stem>& stems,
                                                              const std::string& folder,
                                                              const Options& options,
                                                              ExportProgress& progress) {
  std::int64_t totalFrames = 0;
  std::vector<std::string> sources = options.originals;
  for (const Stem& stem : stems) {
    totalFrames += stem.input.range.length();
    sources.push_back(stem.input.url);
  }
  progress.begin(totalFrames);

  auto made = ExportFolder::make(folder);
  if (!made) return std::unexpected(made.error());
  std::vector<ExportDestination> destinations;  // gone before the folder is
  std::set<std::string> taken;
  for (const Stem& stem : stems) {
    auto source = TrackReader::open(stem.input);
    if (!source) return std::unexpected(source.error());
    const std::string path =
        freeStemPath(folder, stem.name, options.format.fileExtension(),
                     [&](const std::string& p) { return taken.contains(p) || exists(p); });
    taken.insert(path);
    auto destination = ExportDestination::prepare(path, sources, false);
    if (!destination) return std::unexpected(destination.error());
    destinations.push_back(std::move(*destination));
    if (auto rendered = render(std::move(*source), destinations.back().open(), options,
                               exportTags(path, stem.input.url), progress);
        !rendered)
      return std::unexpected(rendered.error());
  }

  std::vector<std::string> paths;
  for (ExportDestination& destination : destinations) {
    if (auto committed = destination.commit(); !committed) {
      for (ExportDestination& other : destinations) other.revoke();
      return std::unexpected(committed.error());
    }
    paths.push_back(destination.path());
  }
  made->keep();
  return paths;
}

}  // namespace sonmere
