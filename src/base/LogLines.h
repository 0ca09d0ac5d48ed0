#pragma once

#include <memory>

#include "base/LineWriter.h"
#include "base/Log.h"

namespace sonmere {

// A sink that writes lines of at least `level`, with time and level.
Log::Sink logLines(std::shared_ptr<LineWriter> writer, LogLevel level);

}  // namespace sonmere
