#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// Answers of the program as tables for people. A member that is missing shows as empty.
std::string statusText(const ControlJSON& status);
std::string appsText(const ControlJSON& apps);
std::string appText(const ControlJSON& app);
// A list of texts, one a line.
std::string linesText(const ControlJSON& texts);
std::string mixerText(const ControlJSON& mixer);
std::string devicesText(const ControlJSON& devices);
std::string recordingsText(const ControlJSON& recordings);
std::string recordingHealthText(const ControlJSON& health);
std::string profilesText(const ControlJSON& profiles);
// The apps with a bar for the level, as many lines as there are apps plus one.
std::string levelsText(const ControlJSON& apps);

}  // namespace sonmere
