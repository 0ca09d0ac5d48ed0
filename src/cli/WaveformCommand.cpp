#include "cli/WaveformCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <filesystem>

#include "cli/ArgumentText.h"
#include "cli/ChosenRecording.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/Text.h"
#include "cli/TimeText.h"
#include "jobs/JobError.h"
#include "jobs/WaveformJob.h"

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

// A name that promises another kind of file would mislead whoever opens it.
Outcome<void> checkExtension(const char* option, const std::optional<std::string>& path, const char* own) {
  static constexpr std::array kKinds = {".png", ".svg",  ".jpg", ".jpeg", ".gif", ".webp", ".bmp",
                                        ".tif", ".tiff", ".pdf", ".ps",   ".eps", ".wav",  ".mp3"};
  std::string extension = path ? std::filesystem::path(*path).extension().string() : "";
  std::ranges::transform(extension, extension.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  if (extension == own || std::ranges::find(kKinds, extension) == kKinds.end()) return {};
  return badArgument(fmt::format("{} {}: name it {}", option, *path, own));
}

Outcome<void> checkNames(const WaveformArguments& arguments) {
  const auto normal = [](const std::string& path) { return std::filesystem::path(path).lexically_normal(); };
  if (arguments.png && arguments.svg && normal(*arguments.png) == normal(*arguments.svg))
    return badArgument("--png and --svg name the same file; use two names");
  if (auto checked = checkExtension("--png", arguments.png, ".png"); !checked) return checked;
  return checkExtension("--svg", arguments.svg, ".svg");
}

Outcome<void> readPicture(const char* option, const std::optional<std::string>& path,
                          const WaveformArguments& arguments, const std::string& source,
                          std::optional<ExportTarget>& target) {
  if (!path) return {};
  auto read = readTarget(option, *path, arguments.force, arguments.json);
  if (!read) return std::unexpected(read.error());
  target = std::move(*read);
  return checkTarget(*target, std::span(&source, 1));
}

Outcome<WaveformRequest> readRequest(const std::string& file, const WaveformArguments& arguments) {
  WaveformRequest request{.file = file, .width = arguments.width, .height = arguments.height};
  if (arguments.file != "-") request.title = std::filesystem::path(file).filename().string();
  for (const auto& read : {readPicture("--png", arguments.png, arguments, file, request.png),
                           readPicture("--svg", arguments.svg, arguments, file, request.svg)})
    if (!read) return std::unexpected(read.error());
  if (auto checked = checkNames(arguments); !checked) return std::unexpected(checked.error());
  const auto view = readView(arguments);
  if (!view) return std::unexpected(view.error());
  request.view = *view;
  if (arguments.decibels) request.scale = WaveformLayout::Scale::decibels;
  request.isLight = arguments.light;
  return request;
}

OutputJSON pathOrNull(const std::optional<std::string>& path) {
  return path ? OutputJSON(*path) : OutputJSON(nullptr);
}

OutputJSON json(const std::string& file, const WaveformArguments& arguments, const WaveformResult& drawn) {
  const WaveformEnvelope& envelope = drawn.envelope;
  OutputJSON peaks = OutputJSON::array();
  for (std::size_t channel = 0; channel < envelope.channels.size(); ++channel) {
    const WaveformBin bin = extremes(envelope, channel, drawn.view.startFrame, drawn.view.endFrame);
    peaks.push_back(shortest(std::max(std::abs(bin.minValue), std::abs(bin.maxValue))));
  }
  return {{"file", file},
          {"png", pathOrNull(arguments.png)},
          {"svg", pathOrNull(arguments.svg)},
          {"width", arguments.width},
          {"height", arguments.height},
          {"sampleRate", envelope.sampleRate},
          {"frames", envelope.totalFrames},
          {"fromFrame", drawn.view.startFrame},
          {"toFrame", drawn.view.endFrame},
          {"binFrames", envelope.binFrames},
          {"peaks", peaks}};
}

void printText(const WaveformRequest& request, const TrimRange& view) {
  for (const auto& target : {request.png, request.svg})
    if (target && !target->isStream())
      fmt::print("{}: {} × {}, {} to {}\n", printable(target->path), request.width, request.height,
                 lengthText(double(view.startFrame) / view.sampleRate, 1),
                 lengthText(double(view.endFrame) / view.sampleRate, 1));
}

bool goesToOutput(const std::optional<ExportTarget>& target) { return target && target->isStream(); }

Error withOption(Error error, const WaveformArguments& arguments) {
  if (isFault(error, JobFault::trim))
    error.description = fmt::format("{}: {}", arguments.from ? "--from" : "--to", error.description);
  return error;
}

}  // namespace

int runWaveformCommand(const WaveformArguments& arguments) {
  FileWork work("waveform", "Reading", arguments.json);
  const auto file = chosenFile(work, arguments.file);
  if (!file) return work.fail(file.error());
  if (!arguments.png && !arguments.svg)
    return work.tell(kExitBadInput, "name the picture with --png FILE or --svg FILE");
  const auto request = readRequest(*file, arguments);
  if (!request) return work.fail(request.error());
  const auto drawn = drawWaveform(*request, work.context());
  if (!drawn) return work.fail(withOption(drawn.error(), arguments));
  work.tellNotes();
  if (arguments.json)
    printJSON(json(work.shown(*file), arguments, *drawn));
  else if (!goesToOutput(request->png) && !goesToOutput(request->svg))
    printText(*request, drawn->view);
  return kExitSuccess;
}

}  // namespace sonmere
