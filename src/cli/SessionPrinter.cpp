#include "cli/SessionPrinter.h"

#include <fmt/format.h>

#include <cmath>

#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "cli/TextTable.h"

namespace sonmere {

namespace {

OutputJSON trackJSON(const SessionTrack& track) {
  const TrimRange& range = track.input.range;
  return {{"name", track.name},
          {"file", track.input.url},
          {"sampleRate", range.sampleRate},
          {"frames", range.totalFrames},
          {"startFrame", range.startFrame},
          {"endFrame", range.endFrame},
          {"fadeInFrames", range.fadeInFrames},
          {"fadeOutFrames", range.fadeOutFrames},
          {"gain", shortest(range.gainLinear)},
          {"soloed", track.soloed},
          {"muted", track.muted},
          {"audible", track.isAudible && !track.unreadable},
          {"unreadable", track.unreadable ? OutputJSON(track.unreadable->description) : nullptr}};
}

const char* heardText(const SessionTrack& track) {
  if (track.muted) return "muted";
  if (track.unreadable) return "unreadable";
  if (track.soloed) return "solo";
  return track.isAudible ? "yes" : "no";
}

void printTable(const OpenSession& open) {
  constexpr auto kRight = TextTable::Align::right;
  TextTable table({{"track"},
                   {"length", kRight},
                   {"from", kRight},
                   {"to", kRight},
                   {"fade-in", kRight},
                   {"fade-out", kRight},
                   {"gain", kRight},
                   {"heard"}});
  for (const SessionTrack& track : open.tracks) {
    const TrimRange& range = track.input.range;
    const auto time = [&](std::int64_t frames) { return lengthText(double(frames) / range.sampleRate, 1); };
    table.add({track.name, time(range.totalFrames), time(range.startFrame), time(range.endFrame),
               time(range.fadeInFrames), time(range.fadeOutFrames),
               range.gainLinear > 0 ? fmt::format("{:+.1f} dB", 20 * std::log10(range.gainLinear)) : "0",
               heardText(track)});
  }
  fmt::print("{}\n{}", open.session.timestampString, table.text());
}

}  // namespace

void printSession(const OpenSession& open, const std::optional<Loudness>& loudness,
                  const std::vector<std::string>& notes, bool json) {
  if (!json) {
    printTable(open);
    if (loudness) fmt::print("mix: {}\n", loudnessText(*loudness));
    return;
  }
  OutputJSON tracks = OutputJSON::array();
  for (const SessionTrack& track : open.tracks) tracks.push_back(trackJSON(track));
  OutputJSON all{{"session", open.session.timestampString}, {"tracks", tracks}};
  if (loudness) all["loudness"] = loudnessJSON(*loudness);
  if (!notes.empty()) all["notes"] = notes;
  printJSON(all);
}

}  // namespace sonmere
