#include "base/Log.h"

#include <unistd.h>

#include "base/LogLines.h"
#include "base/PrintableText.h"
#include "base/ThreadRules.h"

namespace sonmere {

void Log::addSink(Sink sink) {
  const std::lock_guard lock(mutex_);
  sinks_.push_back(std::move(sink));
}

void Log::write(LogLevel level, const std::string& line) {
  assertNotRendering();
  const std::string text = printable(line);
  const std::lock_guard lock(mutex_);
  for (const Sink& sink : sinks_) sink(level, text);
}

Log::Sink Log::standardError(LogLevel level) {
  return logLines(std::make_shared<LineWriter>(STDERR_FILENO), level);
}

}  // namespace sonmere
