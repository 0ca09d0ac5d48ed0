#include "cli/RecordingsCommands.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/InfoCommand.h"
#include "cli/PlayCommand.h"
#include "cli/RecordingsCommand.h"

namespace sonmere {

namespace {

using Arguments = std::shared_ptr<RecordingsArguments>;
using Run = int (*)(const RecordingsArguments&);

constexpr const char* kRecordingHelp =
    "A recording: its number in the list, its name, \"latest\", or the path of its file";

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
  rename->add_option("FILE", a->file, kRecordingHelp)->required();
  rename->add_option("NAME", a->name, "What stands in front of the stamp from now on")->required();
  rename->add_flag("--drop-stamp", a->dropStamp, "Without the stamp, which takes it out of the library");
  addCommon(rename, a);
  CLI::App* import =
      add(recordings, "import", "Make a recording of any audio file", a, runRecordingsImport, run);
  import->add_option("FILE", a->file, "The audio file, which stays as it is; - is standard input")
      ->required();
  import
      ->add_option("--name", a->newName, "What stands in front of the stamp (default: the name of the file)")
      ->type_name("NAME");
  import->add_option("--session", a->session, "The session that it joins (default: one of its own, of now)")
      ->type_name("STAMP");
  addCommon(import, a);
  CLI::App* play =
      add(recordings, "play", "Play recordings on the default output", a, runRecordingsPlay, run);
  play->add_option("FILE", a->files, kRecordingHelp)->required()->expected(-1);
  play->add_option("--platform", a->platform, "The audio server")
      ->check(CLI::IsMember({"auto", "pipewire", "simulated"}));
  addCommon(play, a);
  CLI::App* remove = add(recordings, "delete", "Move recordings to the trash", a, runRecordingsDelete, run);
  remove->add_option("FILE", a->files, kRecordingHelp)->required()->expected(-1);
  addCommon(remove, a);
  CLI::App* restore =
      add(recordings, "restore", "Bring recordings back from the trash", a, runRecordingsRestore, run);
  restore->add_option("NAME", a->file, "A name or stamp, or its beginning (default: what was deleted last)");
  addCommon(restore, a);
  addFolder(recordings, a, run);
}

void addInfo(CLI::App& app, std::function<int()>& run) {
  const auto a = std::make_shared<InfoArguments>();
  CLI::App* command = app.add_subcommand("info", "Tell what audio files are, and how loud");
  command
      ->add_option("FILE", a->files,
                   "Audio files, or recordings by number, name or \"latest\"; - is standard input")
      ->required()
      ->expected(-1);
  command->add_flag("--loudness", a->loudness, "Measure the loudness too, which reads all of the file");
  command->add_flag("--json", a->json, "Print one JSON object");
  command->callback([a, &run] { run = [a] { return runInfoCommand(*a); }; });
}

}  // namespace

void addRecordingsCommands(CLI::App& app, std::function<int()>& run) {
  addRecordings(app, run);
  addInfo(app, run);
}

}  // namespace sonmere
