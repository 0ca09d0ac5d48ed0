#include "cli/InfoCommand.h"

#include <fmt/format.h>
#include <sndfile.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "audio/file/AudioFileReader.h"
#include "cli/ExitStatus.h"
#include "cli/FileWork.h"
#include "cli/JSONOutput.h"
#include "cli/LoudnessText.h"
#include "cli/Text.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/track/TrackReader.h"

namespace sonmere {

namespace {

struct SampleDepth {
  int bits = 0;  // 0 where samples are encoded
  bool isFloat = false;
};

struct FileFacts {
  std::string path;
  MixTrackInput whole;
  std::string container;
  PCMFormat format;
  SampleDepth depth;
  std::int64_t frames = 0;
  std::uint64_t bytes = 0;

  double seconds() const { return double(frames) / format.sampleRate; }
};

// Of a file that is known to be an ordinary one.
SampleDepth depthOf(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (!file) return {};
  sf_close(file);
  switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_U8:
      return {8, false};
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_ALAC_16:
      return {16, false};
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_ALAC_24:
      return {24, false};
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_32:
      return {32, false};
    case SF_FORMAT_FLOAT:
      return {32, true};
    case SF_FORMAT_DOUBLE:
      return {64, true};
    default:
      return {};
  }
}

Outcome<FileFacts> factsOf(const std::string& path) {
  FileFacts facts;
  facts.path = path;
  auto whole = wholeFile(path);
  if (!whole) return std::unexpected(whole.error());
  const auto reader = openAudioFile(path);
  if (!reader) return std::unexpected(reader.error());
  facts.container = (*reader)->container();
  facts.format = (*reader)->format();
  facts.depth = depthOf(path);
  facts.frames = whole->range.totalFrames;
  facts.whole = std::move(*whole);
  std::error_code error;
  facts.bytes = std::filesystem::file_size(path, error);
  return facts;
}

Outcome<Loudness> loudnessOf(const FileFacts& facts, FileWork& work) {
  const auto source = TrackReader::open(facts.whole);
  if (!source) return std::unexpected(source.error());
  return measureLoudness(**source, work.progress());
}

std::string depthText(const SampleDepth& depth) {
  if (depth.bits == 0) return "encoded";
  return fmt::format("{}-bit {}", depth.bits, depth.isFloat ? "float" : "integer");
}

void printText(const FileFacts& facts, const Outcome<Loudness>& loudness) {
  const auto row = [](const char* name, const std::string& value) { fmt::print("{:<12} {}\n", name, value); };
  row("file", printable(facts.path));
  row("format", facts.container);
  row("sample rate", fmt::format("{:.0f} Hz", facts.format.sampleRate));
  row("channels", fmt::format("{}", facts.format.channels));
  row("samples", depthText(facts.depth));
  row("length", fmt::format("{} ({} frames)", lengthText(facts.seconds(), 3), facts.frames));
  row("size", fmt::format("{} ({} bytes)", sizeText(facts.bytes), facts.bytes));
  if (loudness) row("loudness", loudnessText(*loudness));
}

void printJSON(const FileFacts& facts, const Outcome<Loudness>& loudness) {
  using JSON = nlohmann::ordered_json;
  const JSON all{{"file", facts.path},
                 {"format", facts.container},
                 {"sampleRate", facts.format.sampleRate},
                 {"channels", facts.format.channels},
                 {"bits", facts.depth.bits > 0 ? JSON(facts.depth.bits) : JSON(nullptr)},
                 {"float", facts.depth.isFloat},
                 {"frames", facts.frames},
                 {"seconds", facts.seconds()},
                 {"bytes", facts.bytes},
                 {"loudness", loudness ? loudnessJSON(*loudness) : JSON(nullptr)}};
  sonmere::printJSON(all);
}

}  // namespace

int runInfoCommand(const InfoArguments& arguments) {
  FileWork work("info", "Measuring", arguments.json);
  const auto facts = factsOf(arguments.file);
  if (!facts) return work.badInput(facts.error());
  const auto loudness = loudnessOf(*facts, work);
  // What is known is worth more than nothing, in a damaged file all the more.
  arguments.json ? printJSON(*facts, loudness) : printText(*facts, loudness);
  return loudness ? kExitSuccess : work.fail(loudness.error());
}

}  // namespace sonmere
