#pragma once

#include <functional>
#include <string>

#include "base/Log.h"

namespace sonmere {

// A log whose warnings the user sees; errors come back from what was called and are told once, by the
// command.
class WarningLog : public Log {
 public:
  using Warn = std::function<void(const std::string& line)>;

  explicit WarningLog(Warn warn) {
    addSink([warn = std::move(warn)](LogLevel level, const std::string& line) {
      if (level == LogLevel::warning) warn(line);
    });
  }
};

}  // namespace sonmere
