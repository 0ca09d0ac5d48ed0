#include "jobs/JobList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>

#include "base/LiveRuntime.h"
#include "editor/export/SessionExporter.h"

namespace sonmere {
namespace {

using Phase = JobState::Phase;

// Jobs of real threads, each of which ends when it is let go.
class JobListTest : public testing::Test {
 protected:
  ~JobListTest() override {
    for (auto& [name, gate] : gates) gate = 100;
  }
  // Works up to the percentage that its gate says; at 100 it is done.
  JobList::Work working(const std::string& name) {
    return [this, name, &gate = gates[name]](const JobContext& context) -> Outcome<JobList::Files> {
      note(name + " begins");
      while (gate < 100) {
        if (context.progress.isCancelled())
          return std::unexpected(Error{kExportCancelledDomain, 1, "cancelled"});
        context.progress.advanceTo(gate / 100.0);
        context.runtime.blockFor(fromMilliseconds(1));
      }
      context.progress.note(name + " was long");
      return JobList::Files{"/" + name};
    };
  }
  JobID add(const std::string& name) {
    return jobs->add(name, working(name), [this](const JobState& state) {
      note(state.title + (state.phase == Phase::done ? " done" : " cancelled"));
    });
  }
  void note(const std::string& text) {
    const std::lock_guard lock(mutex);
    noted.push_back(text);
  }
  std::vector<std::string> log() {
    const std::lock_guard lock(mutex);
    return noted;
  }
  std::vector<Phase> phases() const {
    std::vector<Phase> all;
    for (const JobState& state : *jobs->jobs) all.push_back(state.phase);
    return all;
  }
  // Drives the main queue meanwhile.
  template <class Condition>
  void until(Condition condition) {
    const auto holds = [&] {
      runtime.runDue();
      return condition();
    };
    EXPECT_TRUE(runtime.waitUntil(holds, std::chrono::seconds(30)));
  }
  void untilPhases(const std::vector<Phase>& wanted) {
    until([&] { return phases() == wanted; });
  }

  std::map<std::string, std::atomic<int>> gates;
  std::mutex mutex;
  std::vector<std::string> noted;
  Log nowhere;
  LiveRuntime runtime;
  std::unique_ptr<JobList> jobs = std::make_unique<JobList>(runtime, nowhere);
};

TEST_F(JobListTest, TwoRunAtOnceInTheOrderInWhichTheyWereAskedFor) {
  for (const char* name : {"a", "b", "c"}) add(name);
  EXPECT_EQ(phases(), (std::vector{Phase::running, Phase::running, Phase::waiting}));
  EXPECT_TRUE(jobs->isBusy());
  gates["b"] = 40;
  until([&] { return jobs->jobs->at(1).fraction == 0.4; });
  EXPECT_EQ(jobs->jobs->at(0).fraction, 0);
  gates["b"] = 100;
  untilPhases({Phase::running, Phase::done, Phase::running});
  gates["c"] = 100;
  untilPhases({Phase::running, Phase::done, Phase::done});
  gates["a"] = 100;
  untilPhases({Phase::done, Phase::done, Phase::done});
  EXPECT_FALSE(jobs->isBusy());
  const JobState& last = jobs->jobs->back();
  EXPECT_EQ(last.fraction, 1);
  EXPECT_EQ(last.files, std::vector<std::string>{"/c"});
  EXPECT_EQ(last.notes, std::vector<std::string>{"c was long"});
  EXPECT_FALSE(last.timeLeft);
}

TEST_F(JobListTest, ACancelledJobEndsAtOnceOrWhenItNoticesAndTheNextOneBegins) {
  const JobID a = add("a"), b = add("b"), c = add("c"), d = add("d");
  jobs->cancel(c);
  EXPECT_EQ(phases(), (std::vector{Phase::running, Phase::running, Phase::cancelled, Phase::waiting}));
  jobs->cancel(b);
  EXPECT_EQ(phases()[1], Phase::running) << "until it has noticed";
  gates["d"] = 100;
  untilPhases({Phase::running, Phase::cancelled, Phase::cancelled, Phase::done});
  jobs->cancel(d);
  EXPECT_EQ(phases()[3], Phase::done) << "too late";
  jobs->forget(a);
  EXPECT_EQ(phases().size(), 4u) << "it runs";
  jobs->forget(c);
  EXPECT_EQ(phases().size(), 3u);
  for (const JobID ended : {b, d}) jobs->forget(ended);
  EXPECT_EQ(phases(), std::vector{Phase::running});
  jobs->cancel(a);
  untilPhases({Phase::cancelled});
  const auto all = log();
  EXPECT_EQ(std::ranges::count(all, "c begins"), 0);
  EXPECT_EQ(std::ranges::count(all, "b cancelled") + std::ranges::count(all, "c cancelled"), 2);
}

TEST_F(JobListTest, WhoeverIsToldOfAnEndMayChangeTheList) {
  gates["next"] = 100;
  jobs->add(
      "failing",
      [](const JobContext&) -> Outcome<JobList::Files> {
        return std::unexpected(Error{"Disk", 1, "the disk is full"});
      },
      [this](const JobState& state) {
        note(state.error);
        jobs->forget(state.id);
        add("next");
      });
  until([&] { return jobs->jobs->size() == 1 && jobs->jobs->at(0).title == "next" && !jobs->isBusy(); });
  EXPECT_EQ(log(), (std::vector<std::string>{"the disk is full", "next begins", "next done"}));
}

TEST_F(JobListTest, WithTheListItsWorkEndsAndNobodyIsTold) {
  std::atomic<int> ended = 0;
  for (int i = 0; i < 3; ++i)
    jobs->add(
        "endless",
        [&ended](const JobContext& context) -> Outcome<JobList::Files> {
          while (!context.progress.isCancelled()) context.runtime.blockFor(fromMilliseconds(1));
          ++ended;
          return JobList::Files{};
        },
        [this](const JobState&) { note("told"); });
  jobs.reset();
  until([&] { return ended == 2; });
  runtime.runDue();
  EXPECT_EQ(log(), std::vector<std::string>{});
}

}  // namespace
}  // namespace sonmere
