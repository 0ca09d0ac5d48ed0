#include "cli/EditCommand.h"

#include <fmt/format.h>

#include <cmath>

#include "cli/ChosenRecording.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "cli/UserSettings.h"
#include "jobs/EditJob.h"

namespace sonmere {

namespace {

double decibels(double linear) { return 20 * std::log10(linear); }

// An edit on its way from the arguments to the file.
class Edit {
 public:
  explicit Edit(const EditArguments& arguments)
      : arguments_(arguments), work_("edit", arguments.save ? "Saving" : "Measuring", arguments.json) {}

  int run();

 private:
  Outcome<void> readRequest();
  void print(const EditResult& result) const;
  void printText(const TrimRange& range, double seconds) const;
  OutputJSON json(const EditResult& result, double seconds) const;

  const EditArguments arguments_;
  FileWork work_;
  EditRequest request_;
};

int Edit::run() {
  if (!arguments_.save && !arguments_.loudness)
    return work_.tell(kExitBadInput, "name the new file with --save FILE, or measure with --loudness");
  auto chosen = chosenFile(work_, arguments_.file);
  if (!chosen) return work_.fail(chosen.error());
  request_.file = std::move(*chosen);
  if (auto read = readRequest(); !read) return work_.fail(read.error());
  const auto result = runEdit(request_, work_.context());
  if (!result) return work_.fail(withOption(result.error(), arguments_));
  work_.tellNotes();
  print(*result);
  return kExitSuccess;
}

Outcome<void> Edit::readRequest() {
  const auto change = readTrackChange(arguments_);
  if (!change) return std::unexpected(change.error());
  request_.change = *change;
  request_.measuresLoudness = arguments_.loudness;
  if (!arguments_.save) return {};
  const auto target = readTarget("--save", *arguments_.save, arguments_.force, arguments_.json);
  if (!target) return std::unexpected(target.error());
  request_.save = *target;
  const auto settings = UserSettings::read(work_.warn());
  if (!settings) return std::unexpected(settings.error());
  const auto format = readExportFormat(arguments_.format, *arguments_.save, settings->exportFormat);
  if (!format) return std::unexpected(format.error());
  request_.format = *format;
  return {};
}

void Edit::print(const EditResult& result) const {
  // What was made went there.
  if (request_.save && request_.save->isStream()) return;
  const TrimRange& range = result.track.range;
  const double seconds = double(range.length()) / range.sampleRate;
  if (arguments_.json) return printJSON(json(result, seconds));
  if (request_.save) printText(range, seconds);
  if (result.loudness) fmt::print("loudness: {}\n", loudnessText(*result.loudness));
}

void Edit::printText(const TrimRange& range, double seconds) const {
  fmt::print("{}: {}, {}, gain {}\n", printable(request_.save->path), lengthText(seconds, 3),
             name(request_.format),
             range.gainLinear > 0 ? fmt::format("{:+.1f} dB", decibels(double(range.gainLinear))) : "0");
}

OutputJSON Edit::json(const EditResult& result, double seconds) const {
  const TrimRange& range = result.track.range;
  OutputJSON all{{"file", work_.shown(request_.file)},
                 {"saved", request_.save ? OutputJSON(request_.save->path) : OutputJSON(nullptr)},
                 {"startFrame", range.startFrame},
                 {"endFrame", range.endFrame},
                 {"fadeInFrames", range.fadeInFrames},
                 {"fadeOutFrames", range.fadeOutFrames},
                 {"gain", shortest(range.gainLinear)},
                 {"sampleRate", range.sampleRate},
                 {"seconds", seconds}};
  if (request_.save) all["format"] = name(request_.format);
  if (const auto& notes = work_.notes(); !notes.empty()) all["notes"] = notes;
  if (result.loudness) all["loudness"] = loudnessJSON(*result.loudness);
  return all;
}

}  // namespace

int runEditCommand(const EditArguments& arguments) { return Edit(arguments).run(); }

}  // namespace sonmere
