#pragma once

#include "base/Error.h"
#include "control/ControlMessage.h"

struct sd_bus_message;

namespace sonmere {

// Values of the façade in messages of the session bus. Types are as the bus writes them: "s", "b", "d", "i",
// "as", "ai".

// What is missing is an empty text, false, 0, and -1 for a whole number. Negative: an errno.
int appendBusValue(sd_bus_message* message, const char* type, const ControlJSON& value);
// Negative: an errno.
int readBusValue(sd_bus_message* message, const char* type, ControlJSON& value);

}  // namespace sonmere
