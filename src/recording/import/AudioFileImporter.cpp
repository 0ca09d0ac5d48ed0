#include "recording/import/AudioFileImporter.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <vector>

#include "audio/file/AudioFileWriter.h"
#include "audio/file/ReaderError.h"
#include "audio/file/StereoDownmix.h"
#include "audio/file/StreamResampler.h"
#include "dsp/VectorMath.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingFileSettings.h"
#include "recording/SessionStamp.h"
#include "recording/import/ImportDestination.h"
#include "recording/import/ImportFileName.h"

namespace sonmere {

namespace {

constexpr std::uint32_t kBlockFrames = 4096;
constexpr std::uint32_t kMostChannels = 2;
// Seconds. Headers of compressed files may be off by some packets.
constexpr double kShortestGap = 0.1;

Outcome<void> checkTarget(const AudioFileImporter::Request& request) {
  if (!(request.sampleRate >= kMinReaderSampleRate && request.sampleRate <= kMaxReaderSampleRate)) {
    return std::unexpected(ImportError::targetFormatInvalid(
        fmt::format("a session can't have a sample rate of {} Hz", request.sampleRate)));
  }
  if (!parseRecordingName(fmt::format("a \u2014 {}.wav", request.stamp))) {
    return std::unexpected(ImportError::targetFormatInvalid(
        fmt::format("\"{}\" is not the date and time of a session", request.stamp)));
  }
  return {};
}

// Reads a block of interleaved samples and hands it on in planes.
class BlockMover {
 public:
  BlockMover(AudioFileReader& from, AudioFileWriter& to)
      : from_(from),
        to_(to),
        interleaved_(std::size_t(kBlockFrames) * from.format().channels),
        planes_(from.format(), kBlockFrames) {}

  // Frames that were moved; 0 at the end.
  Outcome<std::uint32_t> move() {
    const auto frames = from_.read(interleaved_.data(), kBlockFrames);
    if (!frames) return std::unexpected(ImportError::conversionFailed(frames.error().description));
    if (*frames == 0) return 0;
    split(*frames);
    if (auto written = to_.write(planes_); !written)
      return std::unexpected(ImportError::writeFailed(written.error().description));
    return *frames;
  }

 private:
  void split(std::uint32_t frames) {
    planes_.setFrameLength(frames);
    if (from_.format().channels == 1) {
      std::copy_n(interleaved_.data(), frames, planes_.channel(0));
    } else {
      deinterleave(interleaved_.data(), planes_.channel(0), planes_.channel(1), frames);
    }
  }

  AudioFileReader& from_;
  AudioFileWriter& to_;
  std::vector<float> interleaved_;
  PCMBuffer planes_;
};

Outcome<void> convert(AudioFileReader& from, AudioFileWriter& to, const AudioFileImporter::Request& request,
                      const TaskToken& cancel, const AudioFileImporter::Progress& progress) {
  BlockMover mover(from, to);
  std::int64_t done = 0;
  for (;;) {
    if (cancel.isCancelled()) return std::unexpected(ImportError::cancelled());
    const auto moved = mover.move();
    if (!moved) return std::unexpected(moved.error());
    if (*moved == 0) break;
    done += *moved;
    if (progress && from.frameCount() > 0) progress(std::min(1.0, double(done) / double(from.frameCount())));
  }
  const double missing = double(from.frameCount() - done) / from.format().sampleRate;
  if (missing >= kShortestGap && request.tell)
    request.tell(fmt::format("its audio ends {:.1f} s before its header says", missing));
  if (auto closed = to.close(); !closed)
    return std::unexpected(ImportError::writeFailed(closed.error().description));
  return {};
}

Outcome<std::string> publish(ImportDestination& destination, const AudioFileImporter::Request& request) {
  const std::string name = importBaseName(request.name ? *request.name + ".wav" : request.source);
  const auto date = dateOfStamp(request.stamp);
  if (!request.newSession || !date) return destination.publish(name, request.stamp);
  const SessionStamp stamp(*request.newSession, request.folder, *date);
  return destination.publish(name, stamp.text());
}

Outcome<std::string> convertInto(std::unique_ptr<AudioFileReader> source,
                                 const AudioFileImporter::Request& request, const TaskToken& cancel,
                                 const AudioFileImporter::Progress& progress) {
  const PCMFormat format{request.sampleRate, std::min(source->format().channels, kMostChannels)};
  const StereoDownmix downmix(source->format().channels, source->layout());
  if (!downmix.note().empty() && request.tell) request.tell(downmix.note());
  if (const std::int64_t missing = source->missingFrames(); missing > 0 && request.tell)
    request.tell(fmt::format("this file was cut off; by its header {:.1f} s more should follow",
                             double(missing) / source->format().sampleRate));
  const auto reader = resampled(std::move(source), format);
  ImportDestination destination(request.folder);
  auto writer = createAudioFile(destination.temporaryPath(),
                                wavFileSettings(format.sampleRate, format.channels, request.depth));
  if (!writer) return std::unexpected(ImportError::writeFailed(writer.error().description));
  if (auto claimed = destination.claim(); !claimed)
    return std::unexpected(ImportError::writeFailed(claimed.error().description));
  if (auto converted = convert(*reader, **writer, request, cancel, progress); !converted)
    return std::unexpected(converted.error());
  auto path = publish(destination, request);
  if (!path) return std::unexpected(ImportError::writeFailed(path.error().description));
  return path;
}

}  // namespace

Outcome<std::string> AudioFileImporter::importFile(const Request& request, const TaskToken& cancel,
                                                   const Progress& progress) const {
  if (auto checked = checkTarget(request); !checked) return std::unexpected(checked.error());
  try {
    auto source = openAudioFile(request.source);
    if (!source) {
      log_.error(fmt::format("AudioFileImporter: open failed for {}: {}", request.source,
                             source.error().description));
      return std::unexpected(ImportError::sourceUnreadable(source.error().description));
    }
    return convertInto(std::move(*source), request, cancel, progress);
  } catch (const std::bad_alloc&) {
    return std::unexpected(ImportError::conversionFailed("buffer alloc failed"));
  }
}

}  // namespace sonmere
