#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/desktop/ProcessFacts.h"
#include "platform/desktop/ProgramName.h"

namespace sonmere {

// An application as the session's control groups name it.
struct ControlGroupApp {
  enum class Kind { desktop, snap, dbus };
  Kind kind = Kind::desktop;
  std::string id;       // desktop ID, name of the snap, or name on the message bus
  std::string command;  // of the snap
  bool operator==(const ControlGroupApp&) const = default;
};

// Reads "/.../app-<launcher>-<id>-<random>.scope", "app-<id>@<random>.service", "snap.<name>.<command>...",
// "dbus-<n>-<name>@0.service", the innermost one that fits. Nothing when the group is no application's.
std::optional<ControlGroupApp> controlGroupApp(std::string_view controlGroup);

ProgramName programName(const ProcessFact& fact);

// Where in the chain the process stands that the first one works for: itself, or the owner that helpers,
// content processes and nameless interpreters fold into. The chain must not be empty.
std::size_t owningProcess(const ProcessFacts& facts);

// Where the outermost process of the same application stands, from the owner on: one control group or one
// sandbox, wrappers left out.
std::size_t outermostProcess(const ProcessFacts& facts);

// Whether a person started it from a shell: the control group is then the terminal's.
bool isTypedIntoShell(const ProcessFacts& facts);

}  // namespace sonmere
