#include "base/LogLines.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>

namespace sonmere {

namespace {

spdlog::level::level_enum levelFor(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return spdlog::level::debug;
    case LogLevel::info:
      return spdlog::level::info;
    case LogLevel::warning:
      return spdlog::level::warn;
    case LogLevel::error:
      return spdlog::level::err;
  }
  return spdlog::level::err;
}

}  // namespace

Log::Sink logLines(std::shared_ptr<LineWriter> writer, LogLevel level) {
  const auto formatter = std::make_shared<spdlog::pattern_formatter>("%H:%M:%S.%e %l %v");
  return [writer = std::move(writer), formatter, level](LogLevel lineLevel, const std::string& line) {
    if (lineLevel < level) return;
    spdlog::memory_buf_t formatted;
    formatter->format(spdlog::details::log_msg("sonmere", levelFor(lineLevel), line), formatted);
    writer->write({formatted.data(), formatted.size()});
  };
}

}  // namespace sonmere
