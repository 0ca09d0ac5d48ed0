#include "cli/RecordingsCommands.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/InfoCommand.h"
#include "cli/RecordingsCommand.h"

namespace sonmere {

namespace {

using Arguments = std::shared_ptr<RecordingsArguments>;
using Run = int (*)(const RecordingsArguments&);

void addCommon(CLI::App* command, const Arguments& a) {
  command->add_option("--folder", a->folder, "Where the recordings are (default: that of the settings)")
      ->type_name("DIR");
  command->add_flag("--json", a->json, "Print one JSON object");
}

CLI::App* add(CLI::App* parent, const char* name, const char* help, const Arguments& a, Run function,
              std::function<int()>& run) {
  CLI::App* command = parent->add_subcommand(name, help);
  command->callback([a, function, &run] { run = [a, function] { return function(*a); }; });
  return command;
}

void addFolder(CLI::App* recordings, const Arguments& a, std::function<int()>& run) {
  CLI::App* folder =
      add(recordings, "folder", "Show or change the recordings folder", a, runRecordingsFolder, run);
  CLI::Option* path = folder->add_option("PATH", a->newFolder, "Change recordings folder");
  folder->add_flag("--default", a->useDefault, "Use the default recordings folder")->excludes(path);
  folder->add_flag("--json", a->json, "Print one JSON object");
}

void addRecordings(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<RecordingsArguments>();
  CLI::App* recordings = app.add_subcommand("recordings", "The recordings that were made");
  recordings->require_subcommand(0, 1);
  addCommon(recordings, a);
  // Runs after the callback of a subcommand.
  recordings->callback([a, recordings, &run] {
    if (recordings->get_subcommands().empty()) run = [a] { return runRecordingsList(*a); };
  });
  addCommon(add(recordings, "list", "List all sessions, the newest first", a, runRecordingsList, run), a);
  addCommon(add(recordings, "scan", "Rescan recordings", a, runRecordingsScan, run), a);
  addCommon(add(recordings, "repair", "Mend recordings that were interrupted", a, runRecordingsRepair, run),
            a);
  CLI::App* rename = add(recordings, "rename", "Give a recording another name", a, runRecordingsRename, run);
  rename->add_option("FILE", a->file, "Its file: a name in the recordings folder, or a path")->required();
  rename->add_option("NAME", a->name, "What stands in front of the stamp from now on")->required();
  rename->add_flag("--drop-stamp", a->dropStamp, "Without the stamp, which takes it out of the library");
  addCommon(rename, a);
  CLI::App* import =
      add(recordings, "import", "Make a recording of any audio file", a, runRecordingsImport, run);
  import->add_option("FILE", a->file, "The audio file, which stays as it is")->required();
  import->add_option("--session", a->session, "The session that it joins (default: one of its own, of now)")
      ->type_name("STAMP");
  addCommon(import, a);
  addFolder(recordings, a, run);
}

void addInfo(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<InfoArguments>();
  CLI::App* command = app.add_subcommand("info", "Tell what an audio file is, and how loud");
  command->add_option("FILE", a->file, "The audio file")->required();
  command->add_flag("--json", a->json, "Print one JSON object");
  command->callback([a, &run] { run = [a] { return runInfoCommand(*a); }; });
}

}  // namespace

void addRecordingsCommands(CLI::App& app, std::function<int()>& run) {
  addRecordings(app, run);
  addInfo(app, run);
}

}  // namespace sonmere
