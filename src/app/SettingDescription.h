#pragma once

#include <string>
#include <vector>

#include "base/SettingsValue.h"

namespace sonmere {

// One setting: what it is for, and which values it takes.
struct SettingDescription {
  // A structure is what only its owner reads and writes.
  enum class Kind { flag, number, choice, folder, structure };
  // When a change takes effect in a program that runs.
  enum class Effect { now, nextRecording, nextExport, nextStart };
  // What it is about: what the user likes, where sound goes, what the user trusts on this machine, or facts
  // of this machine and this installation, which are wrong on any other.
  enum class Matter { taste, route, trust, machine };

  std::string key;  // one that ends in '*' stands for all that begin so
  Kind kind = Kind::structure;
  std::string meaning;
  SettingsValue fallback;  // what holds without it; null: nothing
  Effect effect = Effect::now;
  double lowest = 0, highest = 0;    // of a number
  std::vector<std::string> choices;  // of a choice
  std::string changedBy;             // commands, of a structure; empty: the program itself
  Matter matter = Matter::taste;
};

}  // namespace sonmere
