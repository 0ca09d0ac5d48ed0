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
// The app's effects, in the form in which they are typed.
std::string equaliserText(const ControlJSON& app);
std::string limiterText(const ControlJSON& app);
std::string mixerText(const ControlJSON& mixer);
std::string outputEqualiserText(const ControlJSON& mixer);
// "hp:80,lp:12000", or "off".
std::string sectionsText(const ControlJSON& equaliser);
std::string devicesText(const ControlJSON& devices);
std::string recordingsText(const ControlJSON& recordings);
std::string prerollText(const ControlJSON& preroll);
std::string recordingHealthText(const ControlJSON& health);
std::string profilesText(const ControlJSON& profiles);
// The apps with a bar for the level, as many lines as there are apps plus one; for a terminal of so many
// columns, or of any.
std::string levelsText(const ControlJSON& apps, int columns);

}  // namespace sonmere
