#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace sonmere {

// One figure of the table. `goal` is met from below when `atMost`, else from above.
struct BenchResult {
  std::string id;    // "A1"
  std::string work;  // what was done, in a few words
  double value = 0;
  double goal = 0;
  bool atMost = false;
  std::string target;  // instruction set or library that did it; may be empty
};

class Bench {
 public:
  // Rounds of a comparison; fewer on a run that is only to see that all works.
  explicit Bench(int rounds) : rounds_(rounds) {}
  int rounds() const { return rounds_; }

  // Median over the rounds of time(slow) / time(fast). Both run in every round, in turn first; what they
  // compute is for the caller to compare before.
  double ratio(const std::function<void()>& slow, const std::function<void()>& fast, int rounds = 0) const;

  // The same for work that tells itself how long it took, in ns: what prepares it is not counted.
  double ratioOfTimes(const std::function<double()>& slow, const std::function<double()>& fast,
                      int rounds = 0) const;

  void add(BenchResult result);
  // A line to be shown under the table.
  void note(std::string text) { notes_.push_back(std::move(text)); }
  const std::vector<BenchResult>& results() const { return results_; }
  const std::vector<std::string>& notes() const { return notes_; }

 private:
  int rounds_;
  std::vector<BenchResult> results_;
  std::vector<std::string> notes_;
};

double median(std::vector<double> values);
// Of the calling thread's processor, ns.
std::int64_t threadTime();
// Of the wall clock, ns.
std::int64_t elapsedTime();
// Ends the benchmark: two ways that must give the same gave different results.
[[noreturn]] void benchFailed(const std::string& why);

// The groups; each adds its rows.
void benchKernels(Bench& bench);
void benchFiles(Bench& bench);
void benchSimulation(Bench& bench);
void benchEditor(Bench& bench);
void benchLibrary(Bench& bench);
void benchInput(Bench& bench);
void benchEffects(Bench& bench);

}  // namespace sonmere
