#include "cli/InfoCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "cli/ChosenRecording.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "editor/export/ParallelLoudness.h"
#include "jobs/FileFacts.h"

namespace sonmere {

namespace {

std::string samplesText(const AudioFileDetails& details) {
  if (details.bits == 0) return "encoded";
  return fmt::format("{}-bit {}", details.bits, details.isFloat ? "float" : "integer");
}

std::string channelsText(std::uint32_t channels) {
  switch (channels) {
    case 1:
      return "1 (mono)";
    case 2:
      return "2 (stereo)";
    case 6:
      return "6 (5.1)";
    case 8:
      return "8 (7.1)";
    default:
      return fmt::format("{}", channels);
  }
}

void printRow(const std::string& name, const std::string& value) { fmt::print("{:<12} {}\n", name, value); }

void printText(const std::string& path, const FileFacts& facts) {
  printRow("file", printable(path));
  printRow("format", facts.container);
  if (!facts.details.codec.empty()) printRow("codec", facts.details.codec);
  printRow("sample rate", fmt::format("{:.0f} Hz", facts.format.sampleRate));
  printRow("channels", channelsText(facts.format.channels));
  printRow("samples", samplesText(facts.details));
  if (facts.bitRate() > 0) printRow("bit rate", fmt::format("{:.0f} kb/s", facts.bitRate() / 1000));
  printRow("length", fmt::format("{} ({} frames)", lengthText(facts.seconds(), 3), facts.frames()));
  printRow("size", fmt::format("{} ({} bytes)", sizeText(facts.bytes), facts.bytes));
  for (const auto& [name, value] : facts.details.tags) printRow(name, printable(value));
  for (const AudioFileMark& mark : facts.details.marks)
    printRow("mark",
             lengthText(double(mark.frame) / facts.format.sampleRate, 3) + "  " + printable(mark.text));
}

OutputJSON factsJSON(const std::string& path, const FileFacts& facts) {
  OutputJSON tags = OutputJSON::object();
  for (const auto& [name, value] : facts.details.tags) tags[name] = value;
  OutputJSON marks = OutputJSON::array();
  for (const AudioFileMark& mark : facts.details.marks)
    marks.push_back({{"frame", mark.frame},
                     {"seconds", double(mark.frame) / facts.format.sampleRate},
                     {"text", mark.text}});
  const auto orNull = [](auto value) { return value > 0 ? OutputJSON(value) : OutputJSON(nullptr); };
  return {{"file", path},
          {"format", facts.container},
          {"codec", facts.details.codec},
          {"sampleRate", facts.format.sampleRate},
          {"channels", facts.format.channels},
          {"bits", orNull(facts.details.bits)},
          {"float", facts.details.isFloat},
          {"bitRate", orNull(std::round(facts.bitRate()))},
          {"frames", facts.frames()},
          {"seconds", facts.seconds()},
          {"bytes", facts.bytes},
          {"tags", tags},
          {"marks", marks}};
}

// Tells about one file after the other.
class InfoCommand {
 public:
  explicit InfoCommand(const InfoArguments& arguments)
      : arguments_(arguments), work_("info", "Measuring", arguments.json) {}

  int run() {
    int status = kExitSuccess;
    for (const std::string& file : arguments_.files) {
      status = std::max(status, tellFile(file));
      if (status > kExitSignalled) break;
    }
    if (arguments_.json && !all_.empty()) printJSON({{"files", all_}});
    return status;
  }

 private:
  int tellFile(const std::string& argument) {
    const auto path = chosenFile(work_, argument);
    if (!path) return work_.fail(path.error());
    const auto facts = factsOf(*path);
    if (!facts) return work_.badInput(facts.error());
    if (arguments_.json) {
      all_.push_back(factsJSON(work_.shown(*path), *facts));
    } else {
      if (std::exchange(hasPrinted_, true)) fmt::print("\n");
      printText(work_.shown(*path), *facts);
    }
    return arguments_.loudness ? tellLoudness(*facts) : kExitSuccess;
  }

  // What is known already is shown meanwhile, and worth more than nothing in a damaged file.
  int tellLoudness(const FileFacts& facts) {
    std::fflush(stdout);
    const auto loudness = measureFileLoudness(work_.runtime(), facts.whole, work_.progress());
    if (arguments_.json) all_.back()["loudness"] = loudness ? loudnessJSON(*loudness) : OutputJSON(nullptr);
    if (!loudness) return work_.fail(loudness.error());
    if (!arguments_.json) printRow("loudness", loudnessText(*loudness));
    return kExitSuccess;
  }

  const InfoArguments& arguments_;
  FileWork work_;
  OutputJSON all_ = OutputJSON::array();
  bool hasPrinted_ = false;
};

}  // namespace

int runInfoCommand(const InfoArguments& arguments) { return InfoCommand(arguments).run(); }

}  // namespace sonmere
