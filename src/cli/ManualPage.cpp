#include <fmt/format.h>

#include "app/SettingsTable.h"
#include "cli/CommandTree.h"

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
    else
      out += c;
  }
  return out.starts_with('.') || out.starts_with('\'') ? "\\&" + out : out;
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

}  // namespace

std::string manualPage(const CommandTree& tree, const std::string& version) {
  std::string out = fmt::format(".TH SONMERE 1 \"\" \"{}\" \"User Commands\"\n", escaped(version));
  out += fmt::format(".SH NAME\nsonmere \\- {}\n.SH SYNOPSIS\n.B sonmere\n[COMMAND] [OPTIONS]\n",
                     escaped(tree.help));
  out +=
      ".SH DESCRIPTION\nWithout a command the application runs in the foreground, as with\n.BR \"sonmere "
      "run\" .\n";
  out += "Most other commands talk to the one that runs.\n.SH COMMANDS\n";
  for (const CommandTree& command : tree.commands) addCommand(out, command, "sonmere");
  out += formsSection();
  out += settingsSection();
  out +=
      ".SH EXIT STATUS\n.TP\n0\nSuccess.\n.TP\n1\nSomething went wrong while running, or nothing "
      "runs.\n.TP\n2\n"
      "The arguments, or what they name, can't be used; nothing was done.\n.TP\n130, 143\nEnded by a signal, "
      "with the files complete.\n.PP\nWith --json an error is an object on standard error:\n"
      "{\"version\":1,\"error\":{\"code\":...,\"message\":...,\"command\":...}}.\n";
  out +=
      ".SH FILES\n.TP\n.I $XDG_CONFIG_HOME/sonmere/settings.json\nThe settings.\n.TP\n"
      ".I $XDG_RUNTIME_DIR/sonmere/control.sock\nThe socket of the program that runs.\n";
  return out;
}

}  // namespace sonmere
