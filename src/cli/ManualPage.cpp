#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "app/SettingsTable.h"
#include "cli/CommandTree.h"
#include "cli/ManualExamples.h"

namespace sonmere {

namespace {

// As the formatter takes it: hyphens and quotes that are typed, and no line that begins like a request.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\')
      out += "\\e";
    else if (c == '-')
      out += "\\-";
    else if (c == '"')
      out += "\\(dq";
    else if (c == '\'')
      out += "\\(aq";
    else if (c == '~')
      out += "\\(ti";
    else
      out += c;
  }
  return out.starts_with('.') ? "\\&" + out : out;
}

std::string nameOf(const CommandTree::Option& option) {
  std::string text;
  for (const std::string& name : option.names) text += (text.empty() ? "" : ", ") + escaped(name);
  return option.isPositional || option.value.empty() ? text : text + " " + escaped(option.value);
}

void addCommand(std::string& out, const CommandTree& tree, const std::string& path) {
  const std::string own = path.empty() ? tree.name : path + " " + tree.name;
  out += fmt::format(".SS {}\n{}.\n", escaped(usageText(tree, own)), escaped(tree.help));
  for (const auto& option : tree.options)
    out += fmt::format(".TP\n.B {}\n{}\n", nameOf(option), escaped(option.help));
  for (const CommandTree& command : tree.commands) addCommand(out, command, own);
}

constexpr std::pair<const char*, const char*> kForms[] = {
    {"50%, 0.5", "Half. A bare number is a gain from 0 to 4, where 1 is 100 %."},
    {"-6dB, +3dB", "A level in decibels from 100 %."},
    {"+5%, -5%, 5%+, 5%-", "A step of so many points from the present volume."},
    {"3dB+, 3dB-", "A step in decibels."},
    {"bridge", "The bridge, bus 0."},
    {"track1 to track8, \"Track 1\"", "A Track, bus 2 to 9."},
    {"Drums", "The Track that was given this name with bus BUS name NAME."},
    {"2", "The number of a bus: 0 the bridge, 2 to 9 Track 1 to 8."},
};

// The same in every command.
std::string formsSection() {
  std::string out = ".SH VOLUMES AND BUSES\n";
  for (const auto& [form, meaning] : kForms)
    out += fmt::format(".TP\n.B {}\n{}\n", escaped(form), escaped(meaning));
  return out;
}

std::string settingsSection() {
  std::string out = ".SH SETTINGS\n";
  for (const std::string& key : settableKeys()) {
    const SettingDescription& setting = *describeSetting(key);
    out += fmt::format(".TP\n.B {}\n{}: {}. Takes effect {}.\n", escaped(key), escaped(setting.meaning),
                       escaped(rangeText(setting)), effectText(setting.effect));
  }
  return out;
}

std::string examplesSection(std::string_view command) {
  const auto examples = manualExamples(command);
  if (examples.empty()) return "";
  std::string out = ".SH EXAMPLES\n";
  for (const auto& [words, meaning] : examples)
    out += fmt::format(".TP\n.B {}\n{}\n", escaped(words), escaped(meaning));
  return out;
}

constexpr std::pair<const char*, const char*> kEnvironment[] = {
    {"SONMERE_SETTINGS", "The settings file, in place of the one below."},
    {"XDG_CONFIG_HOME, XDG_STATE_HOME, XDG_DATA_HOME, XDG_CACHE_HOME",
     "Folders of settings, histories, presets and what is known of plug-ins."},
    {"XDG_RUNTIME_DIR", "The folder of the session, with the socket and the audio server."},
    {"PIPEWIRE_REMOTE", "The audio server, where it is not the one of the session."},
    {"LV2_PATH", "Where plug-ins are looked for."},
    {"TMPDIR", "Where standard input is kept while it is worked on."},
    {"COLUMNS, LANG", "How wide tables are, and which letters they may have."},
};

std::string environmentSection() {
  std::string out = ".SH ENVIRONMENT\n";
  for (const auto& [name, meaning] : kEnvironment)
    out += fmt::format(".TP\n.B {}\n{}\n", escaped(name), escaped(meaning));
  return out;
}

constexpr const char* kExitStatus =
    ".SH EXIT STATUS\n.TP\n0\nSuccess.\n.TP\n1\nSomething went wrong while running, or nothing "
    "runs.\n.TP\n2\n"
    "The arguments, or what they name, can\\(aqt be used; nothing was done.\n.TP\n3, 4\nWhat was looked at "
    "works in part, or does not.\n.TP\n130, 143\nEnded by a signal, "
    "with the files complete.\n";

constexpr const char* kJSONErrors =
    ".PP\nWith \\-\\-json an error is an object on standard error:\n"
    "{\\(dqversion\\(dq:1,\\(dqerror\\(dq:{\\(dqcode\\(dq:...,\\(dqmessage\\(dq:...}}.\n";

constexpr const char* kFiles =
    ".SH FILES\n.TP\n.I $XDG_CONFIG_HOME/sonmere/settings.json\nThe settings.\n.TP\n"
    ".I $XDG_RUNTIME_DIR/sonmere/control.sock\nThe socket of the program that runs.\n";

std::string heading(const std::string& page, const std::string& version) {
  std::string upper = page;
  for (char& c : upper) c = char(std::toupper(static_cast<unsigned char>(c)));
  return fmt::format(".TH {} 1 \"\" \"{}\" \"User Commands\"\n", escaped(upper), escaped(version));
}

std::string pageOf(const CommandTree& command) { return "sonmere-" + command.name; }

// The commands that --help lists with this one, and the program.
std::string seeAlso(const CommandTree& tree, const CommandTree& command) {
  std::string out = ".SH SEE ALSO\n.BR sonmere (1)";
  for (const CommandTree& each : tree.commands)
    if (each.group == command.group && each.name != command.name)
      out += fmt::format(",\n.BR {} (1)", escaped(pageOf(each)));
  return out + "\n";
}

// A line for each thing that can be typed.
void addSynopsis(std::string& out, const CommandTree& command, const std::string& path) {
  const std::string own = path + " " + command.name;
  if (!command.needsCommand)
    out += fmt::format("{}.B {}\n[OPTIONS]\n", out.ends_with("SYNOPSIS\n") ? "" : ".br\n",
                       escaped(usageText(command, own)));
  for (const CommandTree& each : command.commands) addSynopsis(out, each, own);
}

bool takesForms(const CommandTree& command) {
  const auto isForm = [](const CommandTree::Option& option) {
    return option.value.find("VOLUME") != std::string::npos || option.value.find("BUS") != std::string::npos;
  };
  return std::ranges::any_of(command.options, isForm) || std::ranges::any_of(command.commands, takesForms);
}

}  // namespace

std::string manualPage(const CommandTree& tree, const std::string& version) {
  std::string out = heading("sonmere", version);
  out += fmt::format(".SH NAME\nsonmere \\- {}\n.SH SYNOPSIS\n.B sonmere\n[COMMAND] [OPTIONS]\n",
                     escaped(tree.help));
  out +=
      ".SH DESCRIPTION\nWithout a command the application runs in the foreground, as with\n.BR \"sonmere "
      "run\" .\n";
  out += "Most other commands talk to the one that runs. Each has a page of its own.\n.SH COMMANDS\n";
  for (const CommandTree& command : tree.commands)
    out += fmt::format(".TP\n.BR {} (1)\n{}.\n", escaped(pageOf(command)), escaped(command.help));
  out += formsSection() + settingsSection() + kExitStatus + kJSONErrors + environmentSection() + kFiles;
  return out + examplesSection("") + ".SH SEE ALSO\n.BR sonmere\\-window (1),\n.BR pipewire (1)\n";
}

std::string commandManualPage(const CommandTree& tree, const CommandTree& command,
                              const std::string& version) {
  const std::string page = pageOf(command);
  std::string out = heading(page, version);
  out += fmt::format(".SH NAME\n{} \\- {}\n.SH SYNOPSIS\n", escaped(page), escaped(command.help));
  addSynopsis(out, command, "sonmere");
  out += fmt::format(".SH DESCRIPTION\n{}.\n", escaped(command.help));
  addCommand(out, command, "sonmere");
  if (takesForms(command)) out += formsSection();
  if (command.name == "settings") out += settingsSection();
  return out + examplesSection(command.name) + kExitStatus + environmentSection() + seeAlso(tree, command);
}

}  // namespace sonmere
