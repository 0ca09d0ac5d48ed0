#include "audio/file/PushedSampleConverter.h"

#include <fmt/format.h>
#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>
#include <vector>

namespace sonmere {

namespace {
constexpr const char* kDomain = "PushedSampleConverter";
// Beyond what the ratio of the rates gives, for what the filter releases at once.
constexpr std::uint32_t kSpareFrames = 64;
// The filter reaches less far; a whole number of frames of either rate.
constexpr std::int64_t kLeastMirrored = 512, kMostMirrored = 4096;

using Planes = std::vector<std::vector<float>>;

std::size_t framesOf(const Planes& planes) { return planes.empty() ? 0 : planes[0].size(); }

void append(Planes& to, const PCMBuffer& block) {
  for (std::size_t c = 0; c < to.size(); ++c)
    to[c].insert(to[c].end(), block.channel(std::uint32_t(c)),
                 block.channel(std::uint32_t(c)) + block.frameLength());
}

// Input frames that are as many whole output frames; 0 where there are none.
std::int64_t mirroredFrames(double from, double to) {
  if (from != std::floor(from) || to != std::floor(to)) return 0;
  const std::int64_t unit = std::int64_t(from) / std::gcd(std::int64_t(from), std::int64_t(to));
  const std::int64_t frames = (kLeastMirrored + unit - 1) / unit * unit;
  return frames <= kMostMirrored ? frames : 0;
}

// What could have come before the first frame, or behind the last: turned around that one, so that neither
// the level nor its slope breaks off there. An end in silence would ring in the filter.
std::vector<float> mirroredBefore(const std::vector<float>& plane, std::size_t frames) {
  std::vector<float> before(frames);
  for (std::size_t i = 0; i < frames; ++i) before[i] = 2 * plane[0] - plane[frames - i];
  return before;
}
std::vector<float> mirroredBehind(const std::vector<float>& plane, std::size_t frames) {
  const std::size_t last = plane.size() - 1;
  std::vector<float> behind(frames);
  for (std::size_t i = 0; i < frames; ++i) behind[i] = 2 * plane[last] - plane[last - 1 - i];
  return behind;
}

// Hands the planes to `run` with room for what comes of them.
template <class Run>
Outcome<PCMBuffer> runPlanes(const Planes& input, const PCMFormat& to, double ratio, double held, Run run) {
  const std::size_t frames = framesOf(input);
  if (frames == 0) return PCMBuffer(to, 0);
  std::vector<const float*> planes;
  for (const auto& plane : input) planes.push_back(plane.data());
  // As much again: what was held back of a shorter block may come with this one.
  const double most = double(frames) * ratio + held;
  return run(planes.data(), std::uint32_t(frames), std::uint32_t(most) + kSpareFrames);
}
}  // namespace

struct PushedSampleConverter::Library {
  soxr_t handle = nullptr;
  std::int64_t mirrored = 0;  // frames before the first and behind the last
  Planes waiting;             // until there is enough to be mirrored
  Planes tail;                // the latest of what was pushed
  bool hasBegun = false;
  std::int64_t taken = 0, given = 0;  // frames
  std::int64_t toDrop = 0;            // of what comes out, that was mirrored

  ~Library() { soxr_delete(handle); }

  void keepTail(const Planes& input) {
    for (std::size_t c = 0; c < input.size(); ++c) {
      auto& kept = tail[c];
      kept.insert(kept.end(), input[c].begin(), input[c].end());
      const auto most = std::size_t(mirrored) + 1;
      if (kept.size() > most) kept.erase(kept.begin(), kept.end() - std::ptrdiff_t(most));
    }
  }
};

Outcome<std::unique_ptr<PushedSampleConverter>> PushedSampleConverter::make(double fromRate,
                                                                            const PCMFormat& to) {
  auto library = std::make_unique<Library>();
  soxr_error_t problem = nullptr;
  const soxr_io_spec_t samples = soxr_io_spec(SOXR_FLOAT32_S, SOXR_FLOAT32_S);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
  library->handle = soxr_create(fromRate, to.sampleRate, to.channels, &problem, &samples, &quality, nullptr);
  if (problem || !library->handle)
    return std::unexpected(Error{kDomain, 1, problem ? problem : "no converter could be made"});
  library->mirrored = mirroredFrames(fromRate, to.sampleRate);
  library->waiting.resize(to.channels);
  library->tail.resize(to.channels);
  return std::unique_ptr<PushedSampleConverter>(new PushedSampleConverter(fromRate, to, std::move(library)));
}

PushedSampleConverter::PushedSampleConverter(double fromRate, const PCMFormat& to,
                                             std::unique_ptr<Library> library)
    : fromRate_(fromRate), to_(to), library_(std::move(library)) {}

PushedSampleConverter::~PushedSampleConverter() = default;

// Null input is the end.
Outcome<PCMBuffer> PushedSampleConverter::run(const float* const* input, std::uint32_t frames,
                                              std::uint32_t capacity) {
  PCMBuffer out(to_, capacity);
  std::vector<float*> planes;
  for (std::uint32_t channel = 0; channel < to_.channels; ++channel) planes.push_back(out.channel(channel));
  std::size_t taken = 0, made = 0;
  if (const soxr_error_t problem =
          soxr_process(library_->handle, input, frames, &taken, planes.data(), capacity, &made))
    return std::unexpected(Error{kDomain, 2, problem});
  if (taken != frames)
    return std::unexpected(
        Error{kDomain, 3, fmt::format("{} of {} frames were not converted", frames - taken, frames)});
  // What was mirrored in front of the first frame is none of it.
  const auto dropped = std::size_t(std::min<std::int64_t>(library_->toDrop, std::int64_t(made)));
  for (float* const plane : planes) std::copy(plane + dropped, plane + made, plane);
  library_->toDrop -= std::int64_t(dropped);
  out.setFrameLength(std::uint32_t(made - dropped));
  library_->given += out.frameLength();
  return out;
}

Outcome<PCMBuffer> PushedSampleConverter::push(const PCMBuffer& block) {
  Library& library = *library_;
  library.taken += block.frameLength();
  append(library.waiting, block);
  if (!library.hasBegun) {
    if (std::int64_t(framesOf(library.waiting)) <= library.mirrored) return PCMBuffer(to_, 0);
    library.hasBegun = true;
    library.toDrop = std::llround(double(library.mirrored) * to_.sampleRate / fromRate_);
    for (auto& plane : library.waiting) {
      const auto before = mirroredBefore(plane, std::size_t(library.mirrored));
      plane.insert(plane.begin(), before.begin(), before.end());
    }
  }
  const Planes input = std::exchange(library.waiting, Planes(to_.channels));
  library.keepTail(input);
  return runPlanes(input, to_, to_.sampleRate / fromRate_, soxr_delay(library.handle),
                   [this](auto... of) { return run(of...); });
}

Outcome<PCMBuffer> PushedSampleConverter::flush() {
  Library& library = *library_;
  const std::int64_t wanted =
      std::llround(double(library.taken) * to_.sampleRate / fromRate_) - library.given;
  Planes rest = std::move(library.waiting);
  if (library.hasBegun)
    for (std::size_t c = 0; c < rest.size(); ++c)
      rest[c] = mirroredBehind(library.tail[c], std::size_t(library.mirrored));
  const auto last = runPlanes(rest, to_, to_.sampleRate / fromRate_, soxr_delay(library.handle),
                              [this](auto... of) { return run(of...); });
  if (!last) return last;
  const auto held = std::uint32_t(soxr_delay(library.handle)) + kSpareFrames + std::uint32_t(kMostMirrored);
  const auto behind = run(nullptr, 0, held);
  if (!behind) return behind;
  PCMBuffer all(to_, std::uint32_t(std::max<std::int64_t>(wanted, 0)));
  const std::uint32_t head = std::min(last->frameLength(), all.frameCapacity());
  const std::uint32_t more = std::min(behind->frameLength(), all.frameCapacity() - head);
  for (std::uint32_t c = 0; c < to_.channels; ++c) {
    std::copy_n(last->channel(c), head, all.channel(c));
    std::copy_n(behind->channel(c), more, all.channel(c) + head);
  }
  all.setFrameLength(head + more);
  return all;
}

}  // namespace sonmere
