#include "cli/TrackEditArguments.h"

#include <fmt/format.h>

#include "cli/ArgumentText.h"
#include "cli/TimeText.h"
#include "jobs/JobError.h"

namespace sonmere {

namespace {

constexpr double kQuietestLUFS = -70, kLoudestLUFS = 0;

Outcome<Normalising> readNormalising(const std::string& text) {
  if (text == "peak") return Normalising{};
  const auto target = readNumber(text);
  if (target && *target >= kQuietestLUFS && *target <= kLoudestLUFS) return Normalising{*target};
  return badArgument(fmt::format("--normalise: \"{}\" is neither \"peak\" nor a loudness from {} to {} LUFS",
                                 text, kQuietestLUFS, kLoudestLUFS));
}

Outcome<void> readFade(const char* option, const std::optional<std::string>& text,
                       std::optional<double>& seconds) {
  if (!text) return {};
  const auto read = readTime(option, *text);
  if (!read) return std::unexpected(read.error());
  seconds = *read;
  return {};
}

Outcome<void> readGain(const TrackEditArguments& arguments, TrackChange& change) {
  if (arguments.gain && arguments.normalise)
    return badArgument("--gain and --normalise both set the gain; use one of them");
  if (arguments.gain) {
    change.gainDb = readNumber(*arguments.gain);
    if (!change.gainDb)
      return badArgument(fmt::format("--gain: \"{}\" is not a number of decibels", *arguments.gain));
  }
  if (!arguments.normalise) return {};
  const auto normalising = readNormalising(*arguments.normalise);
  if (!normalising) return std::unexpected(normalising.error());
  change.normalising = *normalising;
  return {};
}

}  // namespace

Outcome<TrackChange> readTrackChange(const TrackEditArguments& arguments) {
  TrackChange change;
  if (arguments.trim) {
    const auto part = readTimeRange("--trim", *arguments.trim);
    if (!part) return std::unexpected(part.error());
    change.trim = *part;
  }
  for (const auto& read :
       {readFade("--fade-in", arguments.fadeIn, change.fadeIn),
        readFade("--fade-out", arguments.fadeOut, change.fadeOut), readGain(arguments, change)})
    if (!read) return std::unexpected(read.error());
  return change;
}

Error withOption(Error error, const TrackEditArguments& arguments) {
  if (isFault(error, JobFault::trim) && arguments.trim)
    error.description = fmt::format("--trim {}: {}", *arguments.trim, error.description);
  return error;
}

}  // namespace sonmere
