#include "Bench.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>

namespace sonmere {

namespace {

std::int64_t readClock(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return time.tv_sec * 1000000000LL + time.tv_nsec;
}

double timed(const std::function<void()>& work) {
  const std::int64_t begin = elapsedTime();
  work();
  return double(std::max<std::int64_t>(elapsedTime() - begin, 1));
}

}  // namespace

std::int64_t threadTime() { return readClock(CLOCK_THREAD_CPUTIME_ID); }
std::int64_t elapsedTime() { return readClock(CLOCK_MONOTONIC); }

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double Bench::ratioOfTimes(const std::function<double()>& slow, const std::function<double()>& fast,
                           int rounds) const {
  std::vector<double> ratios;
  slow();
  fast();
  for (int round = 0; round < (rounds ? rounds : rounds_); ++round) {
    double slowTime = 0, fastTime = 0;
    if (round % 2 == 0) slowTime = slow();
    fastTime = fast();
    if (round % 2 != 0) slowTime = slow();
    ratios.push_back(slowTime / fastTime);
  }
  return median(std::move(ratios));
}

double Bench::ratio(const std::function<void()>& slow, const std::function<void()>& fast, int rounds) const {
  return ratioOfTimes([&] { return timed(slow); }, [&] { return timed(fast); }, rounds);
}

void Bench::add(BenchResult result) {
  fmt::print(stderr, "  {} {}\n", result.id, result.target);
  results_.push_back(std::move(result));
}

void benchFailed(const std::string& why) {
  fmt::print(stderr, "bench: {}\n", why);
  std::exit(1);
}

}  // namespace sonmere
