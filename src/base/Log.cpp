#include "base/Log.h"

#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include "base/PrintableText.h"

namespace sonmere {

void Log::addSink(Sink sink) {
  const std::lock_guard lock(mutex_);
  sinks_.push_back(std::move(sink));
}

void Log::write(LogLevel level, const std::string& line) {
  const std::string text = printable(line);
  const std::lock_guard lock(mutex_);
  for (const Sink& sink : sinks_) sink(level, text);
}

Log::Sink Log::standardError(LogLevel level) {
  auto logger =
      std::make_shared<spdlog::logger>("sonmere", std::make_shared<spdlog::sinks::stderr_sink_mt>());
  logger->set_pattern("%H:%M:%S.%e %l %v");
  logger->set_level(spdlog::level::trace);
  return [logger, level](LogLevel lineLevel, const std::string& line) {
    if (lineLevel < level) return;
    switch (lineLevel) {
      case LogLevel::debug:
        logger->debug("{}", line);
        break;
      case LogLevel::info:
        logger->info("{}", line);
        break;
      case LogLevel::warning:
        logger->warn("{}", line);
        break;
      case LogLevel::error:
        logger->error("{}", line);
        break;
    }
  };
}

}  // namespace sonmere
