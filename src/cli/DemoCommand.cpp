#include "cli/DemoCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <mutex>
#include <optional>

#include "app/Demo.h"
#include "base/LiveRuntime.h"
#include "base/StopSignals.h"
#include "base/VirtualRuntime.h"
#include "cli/DemoPrinter.h"
#include "cli/ExitStatus.h"
#include "cli/Progress.h"
#include "cli/Tell.h"
#include "cli/Terminal.h"

namespace sonmere {

namespace {

constexpr Duration kTick = fromMilliseconds(100);
// Turns after the report in which files that are being closed come to their end.
constexpr int kLastTurns = 3;

void showProgress(double fraction) {
  const int columns = terminalColumns(stderr);
  if (columns == 0) return;
  fmt::print(stderr, "\r{}\x1b[K", progressText("", fraction, "", columns));
  std::fflush(stderr);
}

void clearProgress() {
  if (terminalColumns(stderr) > 0) fmt::print(stderr, "\r\x1b[K");
}

int tell(int status, const std::string& text) { return sonmere::tell("demo", status, text); }

int badInput(const Error& error) { return tell(kExitBadInput, error.description); }

// The first error that is logged must not go by unseen when the log is not shown.
class CommandLog : public Log {
 public:
  explicit CommandLog(bool verbose) {
    if (verbose) addSink(standardError(LogLevel::info));
    addSink([this](LogLevel level, const std::string& line) {
      const std::lock_guard lock(mutex_);
      if (level == LogLevel::error && !firstError_) firstError_ = line;
    });
  }
  std::optional<std::string> firstError() const {
    const std::lock_guard lock(mutex_);
    return firstError_;
  }

 private:
  mutable std::mutex mutex_;
  std::optional<std::string> firstError_;
};

// Runs the demo until it is done; `turn` lets time pass on the runtime, for at least one tick.
template <class Turn>
DemoReport play(Runtime& runtime, Demo& demo, const StopSignals& signals, Turn&& turn) {
  std::optional<DemoReport> result;
  const ScopedTask tick = runtime.mainQueue().repeat(kTick, [&, quits = false]() mutable {
    showProgress(demo.progress());
    if (signals.received() != 0 && !std::exchange(quits, true)) demo.quit();
  });
  demo.start([&](const DemoReport& report) { result = report; });
  while (!result) turn();
  clearProgress();
  return std::move(*result);
}

int conclude(const DemoRequest& request, const CommandLog& log, int signal, DemoReport report) {
  if (!report.problem) report.problem = log.firstError();
  request.json ? printDemoJSON(report) : printDemoTable(report);
  if (report.problem) tell(kExitFailure, *report.problem);
  if (signal != 0) return kExitSignalled + signal;
  return report.problem ? kExitFailure : kExitSuccess;
}

template <class AnyRuntime, class Turn>
int runOn(AnyRuntime& runtime, const DemoRequest& request, CommandLog& log, Turn&& turn) {
  const StopSignals signals;
  auto demo = Demo::prepare(runtime, log, request.options);
  if (!demo) return badInput(demo.error());
  DemoReport report = play(runtime, **demo, signals, turn);
  const int status = conclude(request, log, signals.received(), std::move(report));
  for (int i = 0; i < kLastTurns && (*demo)->isWriting(); ++i) turn();
  // Tearing down would wait for a write that hangs for as long as the drive likes.
  if ((*demo)->isWriting()) endAtOnce(status);
  return status;
}

}  // namespace

int runDemoCommand(const DemoArguments& arguments, bool verbose) {
  const auto request = parseDemo(arguments);
  if (!request) return badInput(request.error());
  for (const std::string& note : request->notes) tell(kExitSuccess, note);
  CommandLog log(verbose);  // written to until the runtime's threads have ended
  if (request->live) {
    LiveRuntime runtime;
    return runOn(runtime, *request, log, [&] {
      const TaskToken wake = runtime.mainQueue().postAfter(kTick, [&] { runtime.stop(); });
      runtime.run();
      wake.cancel();
    });
  }
  // A run that is to be repeated has its own calendar too.
  const Date start = request->seed ? VirtualRuntime::kDefaultStart : VirtualRuntime::today();
  VirtualRuntime runtime(request->seed.value_or(1), true, start);
  return runOn(runtime, *request, log, [&] { runtime.advance(kTick); });
}

}  // namespace sonmere
