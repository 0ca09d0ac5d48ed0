#include "cli/RecordCommands.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "audio/device/BusTable.h"
#include "base/LengthText.h"
#include "cli/AmountText.h"
#include "cli/ArgumentText.h"
#include "cli/BusText.h"
#include "cli/ExitStatus.h"
#include "cli/GivenTrackNames.h"
#include "cli/JSONOutput.h"
#include "cli/RecordingLayoutText.h"
#include "cli/RemoteCall.h"
#include "cli/RemotePrinter.h"
#include "cli/Text.h"
#include "jobs/RecordingJobs.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingReader.h"
#include "recording/library/RecordingRename.h"

namespace sonmere {

namespace {

struct Arguments {
  std::vector<std::string> sources;
  std::optional<std::string> layout, format, depth, folder, newName;
  std::optional<std::string> longest, largest, part, preroll;
  std::string length;
  std::string text;
  bool all = false;
  bool json = false;
};

using Given = std::shared_ptr<Arguments>;

struct Sources {
  std::vector<int> buses;
  bool mic = false;
};

Outcome<Sources> readSources(const Given& a) {
  Sources all;
  for (const std::string& text : a->sources) {
    if (text == "mic") {
      all.mic = true;
      continue;
    }
    const auto bus = readBus("BUS", text, givenTrackNames);
    if (!bus) return std::unexpected(bus.error());
    if (std::ranges::find(all.buses, *bus) == all.buses.end()) all.buses.push_back(*bus);
  }
  if (all.buses.empty() && !all.mic) all.buses.push_back(kBridgeBus);
  return all;
}

void print(const Given& a, const ControlJSON& done) {
  if (a->json) {
    if (!done.empty()) printJSON({{"recordings", done}});
    return;
  }
  for (const ControlJSON& each : done) {
    const ControlJSON paths = each.value("paths", ControlJSON::array({each.value("path", std::string())}));
    for (const ControlJSON& path : paths) fmt::print("{}\n", printable(path.get<std::string>()));
  }
}

Outcome<void> readForm(const Given& a, ControlJSON& params) {
  if (a->format) {
    if (*a->format != "wav" && *a->format != "m4a")
      return badArgument(
          fmt::format("--format: \"{}\" is no format of recordings; use wav or m4a", *a->format));
    params["format"] = *a->format;
  }
  if (a->depth) {
    if (std::ranges::find(kRecordingBitDepths, *a->depth, [](auto depth) {
          return std::string(name(depth));
        }) == std::end(kRecordingBitDepths))
      return badArgument(fmt::format("--depth: \"{}\" is no depth; use int16, int24 or float32", *a->depth));
    params["depth"] = *a->depth;
  }
  if (!a->folder) return {};
  const auto folder = readFolder("--folder", *a->folder);
  if (!folder) return std::unexpected(folder.error());
  params["folder"] = *folder;
  return {};
}

Outcome<void> readBounds(const Given& a, ControlJSON& params) {
  struct Bound {
    const char* option;
    const std::optional<std::string>& given;
    Outcome<double> (*read)(const std::string&, const std::string&);
    const char* member;
    double least;
    const char* leastText;
  };
  for (const Bound& bound : {Bound{"--max", a->longest, readDuration, "maxSeconds", 1, "a second"},
                             {"--max-size", a->largest, readSize, "maxBytes", 1e6, "1 MB"},
                             {"--split", a->part, readDuration, "partSeconds", 1, "a second"},
                             {"--preroll", a->preroll, readDuration, "prerollSeconds", 0, "0"}}) {
    if (!bound.given) continue;
    const auto amount = bound.read(bound.option, *bound.given);
    if (!amount) return std::unexpected(amount.error());
    if (*amount < bound.least)
      return badArgument(fmt::format("{}: \"{}\" is too little; use {} or more", bound.option, *bound.given,
                                     bound.leastText));
    params[bound.member] = *amount;
  }
  return {};
}

Outcome<ControlJSON> readWhat(const Given& a) {
  if (a->all && !a->sources.empty()) return badArgument("--all is instead of BUS");
  if (a->all) return ControlJSON{{"all", true}};
  const auto sources = readSources(a);
  if (!sources) return std::unexpected(sources.error());
  ControlJSON what{{"mic", sources->mic}};
  if (!sources->buses.empty()) what["buses"] = sources->buses;
  return what;
}

int start(const Given& a) {
  const RemoteCall call("record start");
  auto what = readWhat(a);
  if (!what) return call.fail(what.error());
  ControlJSON params = std::move(*what);
  if (a->layout) {
    const auto layout = readRecordingLayout("--layout", *a->layout);
    if (!layout) return call.fail(layout.error());
    params["layout"] = name(*layout);
  }
  if (const auto read = readForm(a, params); !read) return call.fail(read.error());
  if (const auto read = readBounds(a, params); !read) return call.fail(read.error());
  return call.ask("record.start", params, [&](const ControlJSON& started) {
    // Of the microphone alone it is one.
    print(a, started.is_array() ? started : ControlJSON::array({started}));
  });
}

// Its parts lie together, and bear its name too.
void renamePaths(ControlJSON& paths, const std::string& renamed) {
  std::size_t at = 0;
  paths[at] = renamed;
  for (const std::string& part : laterRecordingParts(renamed))
    if (++at < paths.size()) paths[at] = part;
}

// Of what was stopped first; what a layout brought along keeps its name.
int rename(const RemoteCall& call, const std::string& newName, ControlJSON& done) {
  if (done.empty() || done[0].value("paths", ControlJSON::array()).empty()) return kExitFailure;
  Log log;
  const auto renamed = renameWithEdits(done[0]["paths"][0].get<std::string>(), newName, true, log);
  if (!renamed)
    return call.tell(kExitFailure, "the recording is complete, but " + renamed.error().description);
  renamePaths(done[0]["paths"], *renamed);
  if (done[0].contains("path")) done[0]["path"] = *renamed;
  return kExitSuccess;
}

int saveLast(const Given& a) {
  const RemoteCall call("record save-last");
  const auto seconds = readDuration("LENGTH", a->length);
  if (!seconds) return call.fail(seconds.error());
  ControlJSON params{{"seconds", *seconds}};
  if (const auto read = readForm(a, params); !read) return call.fail(read.error());
  return call.ask("record.saveLast", params, [&](const ControlJSON& saved) {
    if (a->json) return printJSON(saved);
    for (const ControlJSON& path : saved.at("paths")) fmt::print("{}\n", printable(path.get<std::string>()));
  });
}

// What runs, and what is kept of what was just heard.
int status(const Given& a) {
  const RemoteCall call("record list");
  return call.with([&](ControlClient& client) {
    const auto running = client.call("recordings");
    if (!running) return call.fail(running.error());
    const auto preroll = client.call("record.preroll");
    if (!preroll) return call.fail(preroll.error());
    a->json ? printJSON({{"recordings", *running}, {"preroll", *preroll}})
            : fmt::print("{}{}", recordingsText(*running), prerollText(*preroll));
    return int(kExitSuccess);
  });
}

int mark(const Given& a) {
  return RemoteCall("record mark").ask("record.mark", {{"text", a->text}}, [&](const ControlJSON& result) {
    if (a->json) return printJSON(result);
    for (const ControlJSON& each : result.at("marks"))
      fmt::print("{}  {}\n", lengthText(each.value("seconds", 0.0), 3),
                 printable(each.value("path", std::string())));
  });
}

int stop(const Given& a) {
  const RemoteCall call("record stop");
  ControlJSON done = ControlJSON::array();
  const auto take = [&](const ControlJSON& result) { done.push_back(result); };
  int status = kExitSuccess;
  // Before anything is stopped.
  if (a->newName)
    if (const auto checked = checkRecordingName(*a->newName); !checked)
      return call.fail(badArgument("--name: " + checked.error().description).error());
  if (a->sources.empty()) {
    status = call.ask("record.stop", {{"all", true}}, take);
  } else {
    const auto sources = readSources(a);
    if (!sources) return call.fail(sources.error());
    if (sources->mic) status = call.ask("record.stop", {{"mic", true}}, take);
    for (const int bus : sources->buses)
      status = std::max(status, call.ask("record.stop", {{"bus", bus}}, take));
  }
  if (a->newName && !done.empty()) status = std::max(status, rename(call, *a->newName, done));
  print(a, done);
  return status;
}

int show(const Given& a, const char* command, const char* method, std::string (*text)(const ControlJSON&)) {
  return RemoteCall(command).ask(method, {}, [&](const ControlJSON& result) {
    a->json ? printJSON(result.is_array() ? ControlJSON{{"recordings", result}} : result)
            : fmt::print("{}", text(result));
  });
}

}  // namespace

void addRecordCommands(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<Arguments>();
  CLI::App* record = app.add_subcommand("record", "Record buses and the microphone");
  record->require_subcommand(1);
  const auto add = [&](const char* name, const char* help, std::function<int(const Given&)> work) {
    CLI::App* command = record->add_subcommand(name, help);
    command->add_flag("--json", a->json, "Print one JSON object");
    command->callback([&run, a, work = std::move(work)] { run = [a, work] { return work(a); }; });
    return command;
  };
  CLI::App* starting = add("start", "Record buses into new files, which are one session", start);
  starting->add_option("BUS", a->sources, std::string(kBusForm) + ", or mic (default: bridge)")->expected(-1);
  starting->add_flag("--all", a->all,
                     "All that there is: the bridge, the Tracks that apps play on, the microphone");
  starting
      ->add_option("--layout", a->layout,
                   "The files of the bridge's recording: mixed (one), dualMono (the microphone left, the "
                   "apps right) or separateTracks (one each); kept for the next")
      ->type_name("mixed|dualMono|separateTracks");
  starting->add_option("--format", a->format, "wav or m4a (default: as in the settings)")
      ->type_name("wav|m4a");
  starting->add_option("--depth", a->depth, "Samples of a WAV (default: as in the settings)")
      ->type_name("int16|int24|float32");
  starting
      ->add_option("--folder", a->folder,
                   "Where the files go, made where missing (default: as in the settings)")
      ->type_name("DIR");
  starting->add_option("--max", a->longest, "Ends by itself at this length: 2h, 90m, 1h30m")
      ->type_name("LENGTH");
  starting
      ->add_option("--max-size", a->largest, "Ends by itself once all its files have this size: 2G, 500MB")
      ->type_name("SIZE");
  starting
      ->add_option(
          "--preroll", a->preroll,
          "Begins so much earlier, with what was kept of it (default: all that is kept, record.preroll)")
      ->type_name("LENGTH");
  starting
      ->add_option("--split", a->part,
                   "Goes on in a new file each time this is full: 30m. No sample is lost between two, and "
                   "they are one recording")
      ->type_name("LENGTH");
  CLI::App* saving = add("save-last", "Save the last seconds of what is kept, without a recording", saveLast);
  saving->add_option("LENGTH", a->length, "How much: 60, 90s, 5m; at most what record.preroll keeps")
      ->required();
  saving->add_option("--format", a->format, "wav or m4a (default: as in the settings)")->type_name("wav|m4a");
  saving->add_option("--depth", a->depth, "Samples of a WAV (default: as in the settings)")
      ->type_name("int16|int24|float32");
  saving->add_option("--folder", a->folder, "Where the files go (default: as in the settings)")
      ->type_name("DIR");
  CLI::App* stopping =
      add("stop", "Stop recordings, all of them without BUS, and wait for their files", stop);
  stopping->add_option("BUS", a->sources, std::string(kBusForm) + ", or mic")->expected(-1);
  stopping->add_option("--name", a->newName, "Another name for the first file, in front of its stamp")
      ->type_name("NAME");
  add("mark", "Mark what is heard now in all files that are being recorded", mark)
      ->add_option("TEXT", a->text, "What the mark says");
  add("list", "The recordings that run, and what is kept of what was just heard", status)->alias("status");
  add("health", "What went wrong with recordings in this run",
      [](const Given& given) { return show(given, "record health", "record.health", recordingHealthText); });
}

}  // namespace sonmere
