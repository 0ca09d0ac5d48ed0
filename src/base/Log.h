#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sonmere {

enum class LogLevel { debug, info, warning, error };

// The program's log. Lines go to every sink in one order, without what a terminal would obey. Threads: any
// but a render thread.
class Log {
 public:
  using Sink = std::function<void(LogLevel, const std::string&)>;

  void addSink(Sink sink);
  void write(LogLevel level, const std::string& line);

  void debug(const std::string& line) { write(LogLevel::debug, line); }
  void info(const std::string& line) { write(LogLevel::info, line); }
  void warning(const std::string& line) { write(LogLevel::warning, line); }
  void error(const std::string& line) { write(LogLevel::error, line); }

  // A sink that prints lines of at least `level` to standard error, with time and level.
  static Sink standardError(LogLevel level);

 private:
  std::mutex mutex_;
  std::vector<Sink> sinks_;
};

}  // namespace sonmere
