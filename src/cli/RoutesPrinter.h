#pragma once

#include <string>

#include "control/ControlMessage.h"

namespace sonmere {

// The answers of the routes' methods, for people.
std::string routesText(const ControlJSON& routes);

}  // namespace sonmere
