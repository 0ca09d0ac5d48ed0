#include "cli/EditorCommands.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "cli/EditCommand.h"
#include "cli/SessionCommand.h"
#include "cli/WaveformCommand.h"

namespace sonmere {

namespace {

constexpr const char* kFormatHelp =
    "wav, flac, mp3-128, mp3-192, mp3-256, mp3-320, opus or m4a (default: by the file's extension, else by "
    "the settings)";
constexpr const char* kSessionFormatHelp =
    "As for edit (default: of a mix by the file's extension, else by the settings; stems are wav)";
constexpr const char* kForceHelp = "Replace a file that exists";
constexpr const char* kJSONHelp = "Print one JSON object";

void addWaveform(CLI::App& app, std::function<int()>& run) {
  CLI::App* command = app.add_subcommand("waveform", "Draw an audio file as a picture");
  const auto a = std::make_shared<WaveformArguments>();
  command->add_option("FILE", a->file, "The audio file; - is standard input")->required();
  command->add_option("--png", a->png, "The picture, as PNG; - is standard output")->type_name("FILE");
  command->add_option("--svg", a->svg, "The picture, as SVG; - is standard output")->type_name("FILE");
  command->add_option("--width", a->width, "In pixels (default: 1200)")->type_name("N");
  command->add_option("--height", a->height, "In pixels (default: 300)")->type_name("N");
  command->add_flag("--db", a->decibels, "Draw levels in decibels, down to -60 dB");
  command->add_flag("--light", a->light, "On a light ground");
  command->add_option("--from", a->from, "Where the picture begins: seconds or h:m:s")->type_name("TIME");
  command->add_option("--to", a->to, "Where it ends")->type_name("TIME");
  command->add_flag("--force", a->force, kForceHelp);
  command->add_flag("--json", a->json, kJSONHelp);
  command->callback([a, &run] { run = [a] { return runWaveformCommand(*a); }; });
}

void addGain(CLI::App& command, TrackEditArguments& edit) {
  command.add_option("--gain", edit.gain, "In decibels, at most 24")->type_name("DB");
  command
      .add_option("--normalise,--normalize", edit.normalise,
                  "Set the gain so that the peak is at -0.5 dBFS, or to a loudness in LUFS")
      ->type_name("peak|LUFS")
      ->expected(0, 1)
      ->default_str("peak");
}

void addTrackEdits(CLI::App& command, TrackEditArguments& edit) {
  command.add_option("--trim", edit.trim, "What is kept: seconds as 1:3, or h:m:s as 0:01:00-0:02:30")
      ->type_name("RANGE");
  command.add_option("--fade-in", edit.fadeIn, "Length of the fade-in: seconds or h:m:s")->type_name("TIME");
  command.add_option("--fade-out", edit.fadeOut, "Length of the fade-out")->type_name("TIME");
  addGain(command, edit);
}

// Without a value it is the peak.
void completeNormalise(const CLI::App& command, TrackEditArguments& edit) {
  if (command.count("--normalise") > 0 && (!edit.normalise || edit.normalise->empty()))
    edit.normalise = "peak";
}

void addEdit(CLI::App& app, std::function<int()>& run) {
  CLI::App* command = app.add_subcommand("edit", "Make a new file of a part of one, with fades and gain");
  const auto a = std::make_shared<EditArguments>();
  command->add_option("FILE", a->file, "The audio file, which stays as it is; - is standard input")
      ->required();
  addTrackEdits(*command, *a);
  CLI::Option* save =
      command->add_option("--save", a->save, "The new file; - is standard output")->type_name("FILE");
  command->add_option("--format", a->format, kFormatHelp)->type_name("FORMAT")->needs(save);
  command->add_flag("--loudness", a->loudness, "Measure the loudness of the result");
  command->add_flag("--force", a->force, kForceHelp)->needs(save);
  command->add_flag("--json", a->json, kJSONHelp);
  command->callback([a, command, &run] {
    completeNormalise(*command, *a);
    run = [a] { return runEditCommand(*a); };
  });
}

void addSession(CLI::App& app, std::function<int()>& run) {
  CLI::App* session = app.add_subcommand("session", "Recordings that began together, with their edits");
  session->require_subcommand(1);
  const auto a = std::make_shared<SessionArguments>();
  const auto addCommon = [&](CLI::App* command) {
    command
        ->add_option(
            "STAMP", a->stamp,
            "The session: its stamp (\"2026-01-31 20-15-00\") or the beginning of one, its number in "
            "the list, or \"latest\"")
        ->required();
    command->add_option("--folder", a->folder, "Where the recordings are (default: that of the settings)")
        ->type_name("DIR");
    command->add_flag("--json", a->json, kJSONHelp);
  };
  CLI::App* show = session->add_subcommand("show", "Show the tracks and their edits");
  addCommon(show);
  show->add_flag("--loudness", a->loudness, "Measure the loudness of the mix");
  show->callback([a, &run] { run = [a] { return runSessionShow(*a); }; });

  CLI::App* edit =
      session->add_subcommand("edit", "Change the edits of tracks; their files stay as they are");
  addCommon(edit);
  edit->add_option("TRACK", a->tracks, "The tracks, by name or file");
  edit->add_flag("--all", a->all, "All tracks of the session");
  addTrackEdits(*edit, a->edit);
  edit->add_flag("--mute,!--unmute", a->mute, "Leave it out of the mix, or take it in again");
  edit->add_flag("--solo,!--unsolo", a->solo, "Leave all others out, or no longer");
  edit->add_flag("--reset", a->reset, "Take all edits back, before those that are named here");
  edit->callback([a, edit, &run] {
    completeNormalise(*edit, a->edit);
    // A flag that was not given is false to the library.
    if (edit->count("--mute") == 0) a->mute.reset();
    if (edit->count("--solo") == 0) a->solo.reset();
    run = [a] { return runSessionEdit(*a); };
  });

  CLI::App* save = session->add_subcommand("export", "Write the mix, or each track by itself");
  addCommon(save);
  CLI::Option* mix =
      save->add_flag("--mix")->description("All tracks that are heard in one file (this is the default)");
  save->add_flag("--stems", a->stems, "Each track to a file of its own")->excludes(mix);
  save->add_option("--out", a->out, "The file of the mix, - for standard output, or the folder of the stems")
      ->type_name("PATH")
      ->required();
  save->add_option("--format", a->format, kSessionFormatHelp)->type_name("FORMAT");
  save->add_flag("--force", a->force, "Replace a file that exists; not for stems");
  addGain(*save, a->edit);
  save->callback([a, save, &run] {
    completeNormalise(*save, a->edit);
    run = [a] { return runSessionExport(*a); };
  });
}

}  // namespace

void addEditorCommands(CLI::App& app, std::function<int()>& run) {
  addWaveform(app, run);
  addEdit(app, run);
  addSession(app, run);
}

}  // namespace sonmere
