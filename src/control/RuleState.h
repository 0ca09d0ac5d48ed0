#pragma once

#include <optional>
#include <string>

namespace sonmere {

// What a rule waits for.
struct RuleReason {
  enum class Kind {
    app,     // plays or could: it is known to the audio server
    device,  // is there
    mic      // is on
  };
  Kind kind = Kind::app;
  std::string subject;  // the app's identifier or name; the device's identifier, or a part of its name

  bool operator==(const RuleReason&) const = default;
};

// What it does then.
struct RuleAct {
  enum class Kind { profile, route, volume, mute };
  Kind kind = Kind::profile;
  std::string target;      // a profile's name, else an app
  std::optional<int> bus;  // of a route; nothing: none
  float volume = 1;        // linear
  bool isMuted = true;

  bool operator==(const RuleAct&) const = default;
};

struct Rule {
  int id = 0;  // from 1 on, never another's while it stands
  RuleReason when;
  RuleAct act;
  bool isEnabled = true;

  bool operator==(const Rule&) const = default;
};

// A rule as it is now.
struct RuleState {
  Rule rule;
  bool isActive = false;               // its reason holds, and its act was done
  std::optional<std::string> problem;  // why the act could not be done
};

}  // namespace sonmere
