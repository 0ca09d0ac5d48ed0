#pragma once

#include <map>
#include <string>

#include "audio/device/AudioTypes.h"
#include "platform/desktop/ProcessFacts.h"

namespace sonmere {

class DesktopEntries;

// Properties of a stream or of a client of the audio server, by the server's names ("application.name").
using AppProperties = std::map<std::string, std::string, std::less<>>;

// Which application a stream belongs to.
struct AppIdentity {
  // Names the application's family, the same for all its streams, processes and client libraries, and across
  // restarts. Never empty. All event sounds share one: FamilyRules' "systemsoundserverd".
  std::string bundleID;
  std::string name;  // for the user, never empty
  std::string icon;  // name in the icon theme, or a path; may be empty
  // The process that answers for the stream: the application itself where a helper plays. 0: not known.
  ProcessID ownerPID = 0;
  bool isSystemSound = false;
  bool operator==(const AppIdentity&) const = default;
};

// The process of a stream, to read its facts by; 0 when the properties tell none. What a client says of
// itself is taken only where the server knows no better: inside a sandbox its number means another process.
ProcessID streamProcessID(const AppProperties& stream, const AppProperties& client);

// Whether it is a sound that stands for an event, whichever program it comes from.
bool isEventSound(const AppProperties& stream);

// The identity, by the first rule that applies: event sound, sandbox, control group, program, name. Facts of
// a process that can't be the stream's (another program than the client says) are ignored. A pure function.
AppIdentity identifyApp(const AppProperties& stream, const AppProperties& client, const ProcessFacts& facts,
                        const DesktopEntries& entries);

}  // namespace sonmere
