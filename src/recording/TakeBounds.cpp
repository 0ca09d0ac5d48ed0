#include "recording/TakeBounds.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "base/LengthText.h"

namespace sonmere {

namespace {

std::uint64_t bytesOf(const SettingsStore& settings, const char* key, double fallback) {
  return std::uint64_t(std::max(settings.number(key).value_or(fallback), 0.0) * 1e6);
}

bool isBelow(const std::optional<std::uint64_t>& free, std::uint64_t bound) {
  return bound > 0 && free && *free < bound;
}

}  // namespace

FreeSpaceBounds freeSpaceBounds(const SettingsStore& settings) {
  return {bytesOf(settings, kStopFreeKey, kDefaultStopFreeMegabytes),
          bytesOf(settings, kWarnFreeKey, kDefaultWarnFreeMegabytes)};
}

std::optional<std::uint64_t> freeBytesAt(const std::string& folder) {
  std::error_code error;
  const auto space = std::filesystem::space(folder, error);
  return error ? std::nullopt : std::optional<std::uint64_t>(space.available);
}

std::optional<std::string> lackOfSpace(const std::string& folder, const FreeSpaceBounds& bounds) {
  const auto free = freeBytesAt(folder);
  if (!isBelow(free, bounds.stop)) return std::nullopt;
  return fmt::format("only {} are free on the drive of {}, and recordings end at {} ({})", sizeText(*free),
                     folder, sizeText(bounds.stop), kStopFreeKey);
}

std::optional<TakeEnd> endOfTake(const TakeExtent& extent, const TakeRequest& request,
                                 const FreeSpaceBounds& bounds) {
  if (extent.isComplete)
    return TakeEnd{fmt::format("The recording has the length of {} that was asked for, and has ended.",
                               lengthText(request.mostSeconds))};
  if (request.mostBytes > 0 && extent.bytes >= request.mostBytes)
    return TakeEnd{fmt::format("The recording has the size of {} that was asked for, and has ended.",
                               sizeText(request.mostBytes))};
  if (!isBelow(extent.freeBytes, bounds.stop)) return std::nullopt;
  return TakeEnd{
      fmt::format("only {} are free on its drive. The files recorded so far were saved \u2014 free "
                  "up space and record again.",
                  sizeText(*extent.freeBytes)),
      false};
}

std::optional<std::string> spaceWarning(const TakeExtent& extent, const FreeSpaceBounds& bounds) {
  if (!isBelow(extent.freeBytes, bounds.warn)) return std::nullopt;
  // In steps, so that it is told once and not with every block.
  const std::uint64_t step = *extent.freeBytes >= 1'000'000'000 ? 500'000'000 : 100'000'000;
  const std::uint64_t shown = (*extent.freeBytes / step + 1) * step;
  const std::string end =
      bounds.stop > 0 ? fmt::format(" Recordings end at {}.", sizeText(bounds.stop)) : std::string();
  return fmt::format("Less than {} are free on the drive of the recordings.{}", sizeText(shown), end);
}

}  // namespace sonmere
