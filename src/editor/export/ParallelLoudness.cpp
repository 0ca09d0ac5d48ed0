#include "editor/export/ParallelLoudness.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "base/Processors.h"
#include "editor/export/ExportProgress.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/export/SessionExporter.h"
#include "editor/track/TrackReader.h"

namespace sonmere {

namespace {

constexpr unsigned kMostPieces = 16;
// Shorter ones spend their time on what they measure twice.
constexpr std::int64_t kShortestPieceSeconds = 5;
constexpr Duration kLookInterval = std::chrono::hours(24);

struct Piece {
  MixTrackInput input;            // begins early, but for the first
  std::int64_t framesBefore = 0;  // of it, which another piece counts
  std::optional<LoudnessMeter> meter = std::nullopt;
  std::vector<std::string> notes = {};
  std::optional<Error> error = std::nullopt;
};

// What all of them share.
struct Work {
  ExportProgress& progress;
  std::atomic<std::int64_t> framesDone{0};
  std::atomic<std::size_t> piecesDone{0};
};

std::vector<Piece> piecesOf(const MixTrackInput& input, unsigned count) {
  const TrimRange& range = input.range;
  const std::int64_t unit = LoudnessMeter::seamFrames(range.sampleRate);
  const std::int64_t units = range.length() / unit / std::max(count, 1u);
  const bool isWhole = units < kShortestPieceSeconds || range.fadeInFrames > 0 || range.fadeOutFrames > 0;
  std::vector<Piece> pieces;
  for (unsigned i = 0; i < (isWhole ? 1 : count); ++i) {
    Piece piece{input};
    piece.framesBefore = i == 0 ? 0 : LoudnessMeter::framesBeforeSeam(range.sampleRate);
    piece.input.range.startFrame = range.startFrame + std::int64_t(i) * units * unit - piece.framesBefore;
    if (!isWhole && i + 1 < count) piece.input.range.endFrame = range.startFrame + (i + 1) * units * unit;
    pieces.push_back(std::move(piece));
  }
  return pieces;
}

Outcome<void> measure(Piece& piece, Work& work) {
  const auto source = TrackReader::open(piece.input);
  if (!source) return std::unexpected(source.error());
  auto meter = LoudnessMeter::create((*source)->format());
  if (!meter) return std::unexpected(meter.error());
  PCMBuffer block((*source)->format(), kSourceBlockFrames);
  for (std::int64_t before = piece.framesBefore;;) {
    if (work.progress.isCancelled())
      return std::unexpected(Error{kExportCancelledDomain, 1, "measuring the loudness was cancelled"});
    const auto wanted = before > 0 ? std::min<std::int64_t>(before, kSourceBlockFrames) : kSourceBlockFrames;
    if (auto read = (*source)->read(block, std::uint32_t(wanted)); !read) return read;
    if (block.frameLength() == 0) break;
    if (auto added = before > 0 ? meter->addBefore(block) : meter->add(block); !added) return added;
    if (before == 0) work.framesDone += block.frameLength();
    before -= before > 0 ? block.frameLength() : 0;
  }
  piece.meter = std::move(*meter);
  piece.notes = (*source)->notes();
  return {};
}

void runPiece(Piece& piece, Work& work) {
  if (auto measured = measure(piece, work); !measured) piece.error = measured.error();
  ++work.piecesDone;
}

// Tells the progress meanwhile, on the calling thread.
void waitFor(Runtime& runtime, Work& work, std::size_t pieces) {
  std::int64_t told = 0;
  runtime.waitUntil(
      [&] {
        const std::int64_t done = work.framesDone;
        if (done > told) work.progress.advance(done - std::exchange(told, done));
        return work.piecesDone == pieces;
      },
      kLookInterval);
}

}  // namespace

unsigned loudnessPieces() { return std::min(processorCount(), kMostPieces); }

Outcome<Loudness> measureFileLoudness(Runtime& runtime, const MixTrackInput& input, ExportProgress& progress,
                                      unsigned pieces) {
  const auto probe = TrackReader::open(input);
  if (!probe) return std::unexpected(probe.error());
  auto all = piecesOf(input, (*probe)->format().channels > 2 ? 1 : pieces);
  progress.begin(input.range.length());
  Work work{progress};
  std::vector<std::shared_ptr<Queue>> queues;
  for (Piece& piece : all) {
    queues.push_back(runtime.serialQueue("sonmere.loudness"));
    queues.back()->post([&piece, &work] { runPiece(piece, work); });
  }
  waitFor(runtime, work, all.size());
  std::vector<const LoudnessMeter*> meters;
  for (const Piece& piece : all) {
    if (piece.error) return std::unexpected(*piece.error);
    progress.note(piece.notes);
    meters.push_back(&*piece.meter);
  }
  return LoudnessMeter::joined(meters);
}

}  // namespace sonmere
