#include "audio/file/PushedSampleConverter.h"

#include <fmt/format.h>
#include <soxr.h>

#include <vector>

namespace sonmere {

namespace {
constexpr const char* kDomain = "PushedSampleConverter";
// Beyond what the ratio of the rates gives, for what the filter releases at once.
constexpr std::uint32_t kSpareFrames = 64;
constexpr std::uint32_t kFlushFrames = 4096;
}  // namespace

struct PushedSampleConverter::Library {
  soxr_t handle = nullptr;
  ~Library() { soxr_delete(handle); }
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
  out.setFrameLength(std::uint32_t(made));
  return out;
}

Outcome<PCMBuffer> PushedSampleConverter::push(const PCMBuffer& block) {
  std::vector<const float*> planes;
  for (std::uint32_t channel = 0; channel < to_.channels; ++channel) planes.push_back(block.channel(channel));
  // As much again: what was held back of a shorter block may come with this one.
  const double most = block.frameLength() * to_.sampleRate / fromRate_ + soxr_delay(library_->handle);
  return run(planes.data(), block.frameLength(), std::uint32_t(most) + kSpareFrames);
}

Outcome<PCMBuffer> PushedSampleConverter::flush() {
  const auto held = std::uint32_t(soxr_delay(library_->handle)) + kSpareFrames;
  return run(nullptr, 0, std::max(held, kFlushFrames));
}

}  // namespace sonmere
