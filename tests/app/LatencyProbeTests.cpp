#include "app/LatencyProbe.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "app/LatencyHistory.h"
#include "base/AtomicFile.h"
#include "base/LiveRuntime.h"
#include "base/VirtualRuntime.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

class TestSource final : public LatencySource {
 public:
  std::vector<RingReport> latencyRings() const override { return rows; }
  std::vector<RingReport> rows;
};

RingReport ring(std::string id, double backlogMs = 0) {
  RingReport row;
  row.id = std::move(id);
  row.backlogMs = backlogMs;
  return row;
}

class LatencyProbeTest : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "XXX-2", 1);
    tzset();
    probe.addSource(source);
  }
  void TearDown() override {
    unsetenv("TZ");
    tzset();
  }
  std::string path() const { return (folder / "Support/Sonmere/latency-history.jsonl").string(); }
  // Lines in the history after one more tick.
  std::ptrdiff_t linesAfterTick() {
    probe.record();
    runtime.settle();
    return std::ranges::count(readWholeFile(path()).value_or(""), '\n');
  }
  void writeHistory(const std::string& text) {
    std::filesystem::create_directories(folder / "Support/Sonmere");
    std::ofstream(path()) << text;
  }
  static std::string line(int uptime, const RingReport& row) {
    return latencyEntryToJSON({Date(std::chrono::hours(24)), uptime, {row}}) + "\n";
  }

  TemporaryFolder folder;
  VirtualRuntime runtime{1};
  MemorySettingsStore settings;
  TestSource source;
  LatencyProbe probe{runtime, settings, (folder / "Support/Sonmere").string()};
};

TEST_F(LatencyProbeTest, StoresWhatChangedAndNothingElse) {
  EXPECT_EQ(linesAfterTick(), 0) << "no rows, no line";
  source.rows = {ring("route:a", 20), ring("b")};
  EXPECT_EQ(linesAfterTick(), 1);
  EXPECT_EQ(linesAfterTick(), 1);
  auto& a = source.rows[0];
  a.peakMs = 500;
  a.starves = a.reads = a.writeFrames = a.readFrames = 9;
  a.backlogMs = 29.9;
  EXPECT_EQ(linesAfterTick(), 1);
  a.backlogMs = 30;
  EXPECT_EQ(linesAfterTick(), 2) << "10 ms since the last line, not since the last tick";
  a.backlogMs = 20;
  EXPECT_EQ(linesAfterTick(), 3);
  a.underruns = 1;
  EXPECT_EQ(linesAfterTick(), 4);
  a.overflows = 1;
  EXPECT_EQ(linesAfterTick(), 5);
  source.rows[1].id = "c";
  EXPECT_EQ(linesAfterTick(), 6);
  source.rows.pop_back();
  EXPECT_EQ(linesAfterTick(), 7);
  runtime.advance(std::chrono::seconds(899));
  EXPECT_EQ(linesAfterTick(), 7);
  runtime.advance(std::chrono::seconds(1));
  EXPECT_EQ(linesAfterTick(), 8);
  settings.set("sonmere.latencyProbe.everyTick", true);
  EXPECT_EQ(linesAfterTick(), 9);
  source.rows.clear();
  EXPECT_EQ(linesAfterTick(), 9);
}

TEST_F(LatencyProbeTest, HistoryKeepsTheNewestLinesDamagedOnesIncluded) {
  EXPECT_EQ(probe.historyFileText(), "(no latency history recorded yet)\n");
  std::string text = "the oldest\n\n";
  for (int i = 1; i < 300; ++i) text += "line " + std::to_string(i) + "\n";
  writeHistory(text + "{\"date\":\"2026-01-");  // 301 lines, the last one cut off
  source.rows = {ring("mic→bridge", 1.5)};
  EXPECT_EQ(linesAfterTick(), 300);
  const std::string kept = probe.historyFileText();
  EXPECT_TRUE(kept.starts_with("line 2\n"));
  EXPECT_TRUE(kept.ends_with(
      "{\"date\":\"2026-01-\n"
      "{\"date\":\"2026-01-01T12:00:00Z\",\"uptime\":0,\"rings\":[{\"id\":\"mic→bridge\",\"backlogMs\":1.5,"
      "\"peakMs\":0.0,\"underruns\":0,\"starves\":0,\"overflows\":0,\"reads\":0,\"writeFrames\":0,"
      "\"readFrames\":0}]}\n"));
}

TEST_F(LatencyProbeTest, ReportShowsNowAndTheNotableRowsOfTheHistory) {
  const std::string empty = probe.report();
  EXPECT_TRUE(empty.starts_with("Audio Path Latency (added delay per internal buffer)\n------"));
  EXPECT_TRUE(
      empty.ends_with("\"mic→bridge\" = mic passthrough.\n\nNow (t+0s): no active paths\n\nHistory: (none "
                      "recorded yet)"));

  auto loud = ring("mic→bridge", 5.0);
  auto quiet = ring("com.example.app", 4.9);
  quiet.peakMs = 19.9;
  quiet.starves = 100;
  // 26 entries that can be read, with damage in between.
  std::string text = line(0, loud);
  for (int i = 1; i < 25; ++i)
    text += line(i, quiet) + "{damaged\n{\"date\":\"yesterday\",\"uptime\":1,\"rings\":[]}\n";
  writeHistory(text + line(25, loud));
  runtime.advance(fromMilliseconds(7900));
  quiet.underruns = 12;
  quiet.overflows = 3;
  quiet.writeFrames = 512;
  quiet.readFrames = 480;
  source.rows = {quiet};
  const std::string report = probe.report();
  EXPECT_NE(
      report.find("\n\nNow (t+7s):\n"
                  "  com.example.app                    delay    4.9 ms  peak   19.9 ms  underruns 12    "
                  "starves 100    overflows 3    chunks w512/r480\n\n"
                  "History (recorded on change, newest last, survives restarts):\n"
                  "[01-02 02:00:00 t+1s]\n[01-02 02:00:00 t+2s]\n"),
      std::string::npos)
      << report;
  EXPECT_TRUE(report.ends_with(
      "\n[01-02 02:00:00 t+25s]\n"
      "  mic→bridge                         delay    5.0 ms  peak    0.0 ms  underruns 0     "
      "starves 0      overflows 0    chunks w0/r0\n"
      "... (1 older entries in latency-history.jsonl)"))
      << report;
}

TEST_F(LatencyProbeTest, RowsOfAProbeHalveSamplesToWholeFrames) {
  StereoRing ring;
  std::vector<float> samples(4803 + 961);
  const auto pull = [&](std::int64_t n) { return ring.reader().pull(samples.data(), n, 48000); };
  EXPECT_FALSE(pull(961)) << "the wait for the first audio";
  ring.writer.write(samples.data(), 4803 + 961);
  EXPECT_TRUE(pull(961));
  EXPECT_TRUE(pull(4803 - 963));
  EXPECT_FALSE(pull(965));
  const RingReport row = ringReport("route:a", ring, 0);
  EXPECT_EQ(row.backlogMs, 481.0 / 48000 * 1000);
  EXPECT_EQ(row.peakMs, 2401.0 / 48000 * 1000);
  EXPECT_EQ(row.readFrames, 482);
  EXPECT_EQ(row.underruns, 1);
  EXPECT_EQ(row.reads, 2);
}

TEST_F(LatencyProbeTest, SourcesComeInOrderAndCanLeave) {
  TestSource second;
  second.rows = {ring("volume")};
  source.rows = {ring("route:a")};
  probe.addSource(second);
  const std::string both = probe.report();
  EXPECT_LT(both.find("  route:a"), both.find("  volume"));
  probe.removeSource(source);
  EXPECT_EQ(probe.report().find("  route:a"), std::string::npos);
}

TEST_F(LatencyProbeTest, TwoProgramsKeepEachOthersLines) {
  constexpr int kEach = 40;
  const std::string shared = (folder / "shared").string();
  LiveRuntime first, second;
  LatencyHistory one(first, shared), other(second, shared);
  for (int i = 0; i < kEach; ++i)
    for (LatencyHistory* history : {&one, &other}) history->append({});
  EXPECT_TRUE(first.waitUntil([&] { return one.entries().size() == 2u * kEach; }, fromSeconds(30)));
}

}  // namespace
}  // namespace sonmere
