#pragma once

#include <string>
#include <vector>

#include "mixer/VolumeMixerEngine.h"
#include "routing/AppTapEngine.h"

namespace sonmere {

// What the user is to be told of one app beside its state: where a web app's sound is found, how the row of
// calls behaves, what Siri's volume needs, and that Direct may suit the app. Main thread.
std::vector<std::string> appHints(const AppTapEngine& engine, const VolumeMixerEngine& mixer,
                                  const TappedAppInfo& row);

}  // namespace sonmere
