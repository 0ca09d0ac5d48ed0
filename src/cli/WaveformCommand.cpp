#include "cli/WaveformCommand.h"
#include "cli/ChosenRecording.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "cli/ArgumentText.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/Text.h"
#include "editor/export/ExportDestination.h"
#include "editor/track/TrackReader.h"
#include "editor/waveform/WaveformPNG.h"
#include "editor/waveform/WaveformPeakAnalyzer.h"
#include "editor/waveform/WaveformSVG.h"
#include "editor/waveform/WaveformSamples.h"

namespace sonmere {

namespace {

Outcome<TimeRange> readView(const WaveformArguments& arguments) {
  TimeRange view;
  if (arguments.from) {
    const auto from = readTime("--from", *arguments.from);
    if (!from) return std::unexpected(from.error());
    view.from = *from;
  }
  if (arguments.to) {
    const auto to = readTime("--to", *arguments.to);
    if (!to) return std::unexpected(to.error());
    if (*to <= view.from) return badArgument(fmt::format("--to {}: this is not after --from", *arguments.to));
    view.until = *to;
  }
  return view;
}

// Through a file beside it, as exports are.
Outcome<void> writePicture(const std::string& path, const std::string& bytes,
                           const WaveformArguments& arguments) {
  const std::string source = arguments.file;
  auto destination = ExportDestination::prepare(path, std::span(&source, 1), arguments.force);
  if (!destination) return std::unexpected(destination.error());
  auto file = destination->open();
  if (!file) return std::unexpected(file.error());
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  if (auto written = file->append({data, bytes.size()}); !written) return written;
  if (auto closed = file->close(); !closed) return closed;
  return destination->commit();
}

// Where the whole file's bins are wider than a pixel the samples themselves are drawn.
Outcome<WaveformLayout> layOutView(const WaveformEnvelope& envelope, const TrimRange& view,
                                   const WaveformArguments& arguments) {
  const auto scale = arguments.decibels ? WaveformLayout::Scale::decibels : WaveformLayout::Scale::linear;
  const auto draw = [&](const WaveformEnvelope& drawn) {
    return layOut(drawn, view.startFrame, std::min(view.endFrame, envelope.totalFrames), arguments.width,
                  arguments.height, scale);
  };
  if (view.length() >= envelope.binFrames * arguments.width) return draw(envelope);
  const auto samples = waveformSamples(arguments.file, view);
  return samples ? draw(*samples) : draw(envelope);
}

Outcome<void> writePictures(const WaveformLayout& layout, const WaveformArguments& arguments) {
  const WaveformColours colours = arguments.light ? WaveformColours::light() : WaveformColours{};
  if (arguments.png) {
    const auto png = waveformPNG(layout, colours);
    if (!png) return std::unexpected(png.error());
    if (auto written = writePicture(*arguments.png, *png, arguments); !written) return written;
  }
  if (!arguments.svg) return {};
  return writePicture(*arguments.svg, waveformSVG(layout, colours), arguments);
}

// A name that promises another kind of file would mislead whoever opens it.
Outcome<void> checkExtension(const char* option, const std::optional<std::string>& path, const char* own) {
  static constexpr std::array kKinds = {".png", ".svg",  ".jpg", ".jpeg", ".gif", ".webp", ".bmp",
                                        ".tif", ".tiff", ".pdf", ".ps",   ".eps", ".wav",  ".mp3"};
  std::string extension = path ? std::filesystem::path(*path).extension().string() : "";
  std::ranges::transform(extension, extension.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  if (extension == own || std::ranges::find(kKinds, extension) == kKinds.end()) return {};
  return badArgument(fmt::format("{} {}: name it {}", option, *path, own));
}

Outcome<void> checkPictures(const WaveformArguments& arguments) {
  const auto normal = [](const std::string& path) { return std::filesystem::path(path).lexically_normal(); };
  if (arguments.png && arguments.svg && normal(*arguments.png) == normal(*arguments.svg))
    return badArgument("--png and --svg name the same file; use two names");
  for (const auto& path : {arguments.png, arguments.svg})
    if (path)
      if (auto checked = checkOutputFile(*path, std::span(&arguments.file, 1), arguments.force); !checked)
        return checked;
  if (auto checked = checkExtension("--png", arguments.png, ".png"); !checked) return checked;
  return checkExtension("--svg", arguments.svg, ".svg");
}

// What is behind the dash; in front of it is where in the program it happened.
std::string reasonIn(const std::string& line) {
  constexpr std::string_view kDash = " \u2014 ";
  const std::size_t at = line.find(kDash);
  return at == std::string::npos ? line : line.substr(at + kDash.size());
}

nlohmann::ordered_json pathOrNull(const std::optional<std::string>& path) {
  return path ? nlohmann::ordered_json(*path) : nlohmann::ordered_json(nullptr);
}

void print(const WaveformArguments& arguments, const TrimRange& view, const WaveformEnvelope& envelope) {
  nlohmann::ordered_json peaks = nlohmann::ordered_json::array();
  for (std::size_t channel = 0; channel < envelope.channels.size(); ++channel) {
    const WaveformBin bin = extremes(envelope, channel, view.startFrame, view.endFrame);
    peaks.push_back(shortest(std::max(std::abs(bin.minValue), std::abs(bin.maxValue))));
  }
  if (arguments.json) {
    const nlohmann::ordered_json all{{"file", arguments.file},
                                     {"png", pathOrNull(arguments.png)},
                                     {"svg", pathOrNull(arguments.svg)},
                                     {"width", arguments.width},
                                     {"height", arguments.height},
                                     {"sampleRate", envelope.sampleRate},
                                     {"frames", envelope.totalFrames},
                                     {"fromFrame", view.startFrame},
                                     {"toFrame", view.endFrame},
                                     {"binFrames", envelope.binFrames},
                                     {"peaks", peaks}};
    printJSON(all);
    return;
  }
  for (const auto& path : {arguments.png, arguments.svg})
    if (path)
      fmt::print("{}: {} × {}, {} to {}\n", printable(*path), arguments.width, arguments.height,
                 lengthText(double(view.startFrame) / view.sampleRate, 1),
                 lengthText(double(view.endFrame) / view.sampleRate, 1));
}

}  // namespace

int runWaveformCommand(const WaveformArguments& given) {
  FileWork work("waveform", "Reading", given.json);
  WaveformArguments arguments = given;
  auto chosen = chosenFile(work, given.file);
  if (!chosen) return work.badInput(chosen.error());
  arguments.file = std::move(*chosen);
  if (!arguments.png && !arguments.svg)
    return work.tell(kExitBadInput, "name the picture with --png FILE or --svg FILE");
  const auto times = readView(arguments);
  if (!times) return work.badInput(times.error());
  if (const auto checked = checkPictures(arguments); !checked) return work.fail(checked.error());
  const auto whole = wholeFile(arguments.file);
  if (!whole) return work.badInput(whole.error());
  const auto view = trimTo(whole->range, arguments.from ? "--from" : "--to", *times);
  if (!view) return work.badInput(view.error());

  std::optional<std::string> damage;
  work.log().addSink([&](LogLevel, const std::string& line) { damage = reasonIn(line); });
  std::atomic<bool> isCancelled = false;
  const auto envelope =
      WaveformPeakAnalyzer(work.log()).analyze(arguments.file, &isCancelled, [&](double done) {
        if (work.show(done)) isCancelled = true;
      });
  if (!envelope) return work.fail({"WaveformCommand", 1, damage.value_or("the reading was cancelled")});
  if (const auto track = TrackReader::open(*whole)) work.progress().note((*track)->notes());
  work.tellNotes();
  if (damage) work.tell(kExitSuccess, *damage + "; what follows is drawn as silence");
  const auto layout = layOutView(*envelope, *view, arguments);
  if (!layout) return work.badInput(layout.error());
  if (auto written = writePictures(*layout, arguments); !written) return work.fail(written.error());
  print(arguments, *view, *envelope);
  return kExitSuccess;
}

}  // namespace sonmere
