#include "cli/DemoCommand.h"

#include <fmt/format.h>
#include <unistd.h>

#include <csignal>
#include <optional>

#include "app/Demo.h"
#include "base/LiveRuntime.h"
#include "base/VirtualRuntime.h"
#include "cli/DemoPrinter.h"
#include "cli/ExitStatus.h"

namespace sonmere {

namespace {

constexpr Duration kTick = fromMilliseconds(100);
constexpr int kBarWidth = 40;

volatile std::sig_atomic_t interrupted = 0;

void showProgress(double fraction) {
  if (!isatty(STDERR_FILENO)) return;
  const int filled = int(fraction * kBarWidth);
  fmt::print(stderr, "\r[{:=<{}}{:{}}] {:3.0f} %", "", filled, "", kBarWidth - filled, fraction * 100);
  std::fflush(stderr);
}

void clearProgress() {
  if (isatty(STDERR_FILENO)) fmt::print(stderr, "\r{:{}}\r", "", kBarWidth + 9);
}

int badInput(const Error& error) {
  fmt::print(stderr, "sonmere demo: {}\n", error.description);
  return kExitBadInput;
}

// Runs the demo until it is done; `turn` lets time pass on the runtime, for at least one tick.
template <class Turn>
Outcome<DemoReport> play(Runtime& runtime, Demo& demo, Turn&& turn) {
  std::optional<Outcome<DemoReport>> result;
  const ScopedTask tick = runtime.mainQueue().repeat(kTick, [&] {
    showProgress(demo.progress());
    if (interrupted) demo.finish();
  });
  demo.start([&](Outcome<DemoReport> report) { result = std::move(report); });
  while (!result) turn();
  clearProgress();
  return std::move(*result);
}

template <class AnyRuntime, class Turn>
int runOn(AnyRuntime& runtime, const DemoRequest& request, bool verbose, Turn&& turn) {
  Log log;
  log.addSink(Log::standardError(verbose ? LogLevel::info : LogLevel::error));
  auto demo = Demo::prepare(runtime, log, request.options);
  if (!demo) return badInput(demo.error());
  const auto report = play(runtime, **demo, turn);
  if (!report) {
    fmt::print(stderr, "sonmere demo: {}\n", report.error().description);
    return kExitFailure;
  }
  request.json ? printDemoJSON(*report) : printDemoTable(*report);
  return kExitSuccess;
}

}  // namespace

int runDemoCommand(const DemoArguments& arguments, bool verbose) {
  const auto request = parseDemo(arguments);
  if (!request) return badInput(request.error());
  for (const std::string& note : request->notes) fmt::print(stderr, "sonmere demo: {}\n", note);
  std::signal(SIGINT, [](int) { interrupted = 1; });
  std::signal(SIGTERM, [](int) { interrupted = 1; });
  if (request->live) {
    LiveRuntime runtime;
    return runOn(runtime, *request, verbose, [&] {
      const TaskToken wake = runtime.mainQueue().postAfter(kTick, [&] { runtime.stop(); });
      runtime.run();
      wake.cancel();
    });
  }
  // A run that is to be repeated has its own calendar too.
  const Date start = request->seed ? VirtualRuntime::kDefaultStart : VirtualRuntime::today();
  VirtualRuntime runtime(request->seed.value_or(1), true, start);
  return runOn(runtime, *request, verbose, [&] { runtime.advance(kTick); });
}

}  // namespace sonmere
