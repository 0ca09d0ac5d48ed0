#include "jobs/RecordingsDesk.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>

#include "audio/file/AudioFileReader.h"
#include "base/VirtualRuntime.h"
#include "editor/track/TrackReader.h"
#include "jobs/ImportJob.h"
#include "jobs/JobError.h"
#include "jobs/SessionChange.h"
#include "jobs/SessionExport.h"
#include "jobs/WaveformJob.h"
#include "recording/RecordingBench.h"
#include "support/SizeLimit.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;
using Phase = JobState::Phase;

class RecordingsDeskTest : public testing::Test {
 protected:
  std::string path(const std::string& name) const { return (folder / name).string(); }
  // One second of a square wave at half of full scale.
  std::string make(const std::string& name, double sampleRate = 48000) {
    auto writer = createAudioFile(path(name), {.sampleRate = sampleRate, .channels = 2, .bitDepth = 24});
    PCMBuffer block((*writer)->processingFormat(), std::uint32_t(sampleRate));
    block.setFrameLength(std::uint32_t(sampleRate));
    for (std::uint32_t i = 0; i < block.frameLength(); ++i)
      block.channel(0)[i] = block.channel(1)[i] = i / 50 % 2 == 0 ? 0.5f : -0.5f;
    EXPECT_TRUE((*writer)->write(block) && (*writer)->close());
    return path(name);
  }
  const RecordingSession& session() { return desk.library().sessions->at(0); }
  std::vector<std::string> displayNames() {
    std::vector<std::string> all;
    for (const RecordingSession& each : *desk.library().sessions)
      for (const RecordingFile& file : each.files) all.push_back(file.displayName);
    return all;
  }
  RecordingsDesk::Done into(std::optional<Outcome<std::string>>& result) {
    return [&result](const Outcome<std::string>& path) { result = path; };
  }
  JobContext context() { return {runtime, log, progress}; }

  VirtualRuntime runtime{1};
  RecordingBench bench{runtime};
  TemporaryFolder folder;
  Log log;
  ExportProgress progress{runtime};
  RecordingsDesk desk{bench.context, path("trash")};
};

TEST_F(RecordingsDeskTest, WhatIsImportedIsListedRenamedWithItsEditsAndExported) {
  std::ofstream(path("text.wav")) << "no audio";
  std::vector<JobState> ended;
  desk.importFiles({make("a.wav"), path("text.wav")}, std::nullopt,
                   [&](const JobState& state) { ended.push_back(state); });
  runtime.settle();
  ASSERT_EQ(ended.size(), 2u);
  EXPECT_EQ(ended[0].title, "Import of a.wav");
  EXPECT_EQ(ended[0].phase, Phase::done);
  EXPECT_EQ(ended[1].phase, Phase::failed);
  EXPECT_NE(ended[1].error.find("text.wav"), std::string::npos);
  ASSERT_EQ(displayNames(), std::vector<std::string>{"a"}) << "listed without being asked to look";

  auto open = openSession(bench.defaultFolder(), session().timestampString, context());
  ASSERT_TRUE(open) << open.error().description;
  ASSERT_TRUE(changeSession(*open, {.tracks = {"a"}, .change = {.gainDb = -6}}, context()));
  std::optional<Outcome<std::string>> renamed;
  desk.rename(session().files[0].url, "Interview", into(renamed));
  runtime.settle();
  ASSERT_TRUE(renamed && *renamed);
  EXPECT_EQ(displayNames(), std::vector<std::string>{"Interview"});

  SessionExportRequest request{.out = {path("mix.flac")}, .format = {ExportFormat::Kind::flac}};
  auto again = openSession(bench.defaultFolder(), session().timestampString, context());
  ASSERT_TRUE(again) << again.error().description;
  SessionExport work(std::move(*again), request, context());
  ASSERT_TRUE(work.prepare());
  ASSERT_EQ(work.write(), JobList::Files{path("mix.flac")});
  std::optional<Outcome<Loudness>> loudness;
  desk.measure(*wholeFile(path("mix.flac")), [&](const auto& found) { loudness = found; });
  runtime.advance(fromSeconds(1));
  ASSERT_TRUE(loudness && *loudness);
  EXPECT_NEAR((*loudness)->samplePeakDb, -12.02, 0.05) << "the edit is found under the new name";
}

TEST_F(RecordingsDeskTest, WhatIsDeletedComesBack) {
  desk.importFiles({make("a.wav"), make("b.wav")});
  runtime.settle();
  ASSERT_EQ(displayNames().size(), 2u);
  const std::string url = session().files[0].url;
  std::optional<Outcome<std::string>> inTrash, back, gone;
  desk.remove(url, into(inTrash));
  runtime.settle();
  ASSERT_TRUE(inTrash && *inTrash);
  EXPECT_EQ(displayNames().size(), 1u);
  EXPECT_FALSE(fs::exists(url));
  desk.restore(**inTrash, into(back));
  runtime.settle();
  ASSERT_TRUE(back && *back);
  EXPECT_EQ(**back, url);
  EXPECT_EQ(displayNames().size(), 2u);
  desk.restore(**inTrash, into(gone));
  desk.remove(path("a.wav"), into(back));
  runtime.settle();
  EXPECT_FALSE(*gone);
  EXPECT_FALSE(*back) << "no recording";
  EXPECT_TRUE(fs::exists(path("a.wav")));
}

TEST_F(RecordingsDeskTest, AnEditIsAJobAndACancelledOneLeavesNothing) {
  EditRequest request{.file = make("a.wav")};
  request.change = {.trim = TimeRange{0.25, 0.75}, .normalising = Normalising{}};
  request.save = ExportTarget{path("b.wav")};
  std::vector<JobState> ended;
  desk.edit(request, [&](const JobState& state) { ended.push_back(state); });
  runtime.settle();
  ASSERT_EQ(ended.at(0).phase, Phase::done) << ended[0].error;
  EXPECT_EQ((*openAudioFile(path("b.wav")))->frameCount(), 24000);
  request.save = ExportTarget{path("c.wav")};
  const JobID id = desk.edit(request, [&](const JobState& state) { ended.push_back(state); });
  desk.jobs().cancel(id);
  runtime.settle();
  EXPECT_EQ(ended.at(1).phase, Phase::cancelled);
  EXPECT_FALSE(fs::exists(path("c.wav")));
  EXPECT_FALSE(fs::exists(path("c.wav.tmp")));
}

TEST_F(RecordingsDeskTest, WhatCannotBeDoneSaysWhyAndLeavesNothing) {
  const std::string a = make("a.wav"), slow = make("slow.wav", 2000);
  std::ofstream(path("text.wav")) << "no audio";
  const auto names = [&] {
    std::set<std::string> all;
    for (const auto& entry : fs::directory_iterator(folder.path())) all.insert(entry.path().filename());
    return all;
  };
  const auto before = names();
  const auto isRequest = [](const auto& result) {
    return !result && result.error().domain == kJobRequestDomain;
  };
  EditRequest edit{.file = path("text.wav"), .save = ExportTarget{path("new.wav")}};
  EXPECT_TRUE(isRequest(runEdit(edit, context())));
  edit.file = a;
  edit.change.trim = TimeRange{2, 3};
  const auto beyond = runEdit(edit, context());
  EXPECT_TRUE(!beyond && isFault(beyond.error(), JobFault::trim));
  edit.change = {.normalising = Normalising{-16}};
  edit.file = slow;
  EXPECT_FALSE(runEdit(edit, context())) << "no loudness at this rate";
  edit.change = {};
  edit.measuresLoudness = true;
  EXPECT_FALSE(runEdit(edit, context()));

  WaveformRequest picture{.file = path("text.wav")};
  picture.png = ExportTarget{path("new.png")};
  EXPECT_TRUE(isRequest(drawWaveform(picture, context())));
  picture.file = a;
  picture.view = {2, std::nullopt};
  const auto beyondToo = drawWaveform(picture, context());
  EXPECT_TRUE(!beyondToo && isFault(beyondToo.error(), JobFault::trim));
  picture.view = {};
  picture.svg = ExportTarget{path("new.svg")};
  for (const bool alsoPNG : {true, false}) {
    if (!alsoPNG) picture.png.reset();
    const SizeLimit full(100);
    EXPECT_FALSE(drawWaveform(picture, context()));
  }

  ImportRequest import{.source = path("text.wav"), .folder = path(""), .session = {}, .name = {}};
  EXPECT_TRUE(isRequest(importRecording(import, context())));
  import.source = a;
  import.session = "2026-01-01";
  EXPECT_TRUE(isRequest(importRecording(import, context()))) << "there is no such session";
  EXPECT_TRUE(isRequest(openSession(path(""), "2026-01-01", context())));
  EXPECT_EQ(names(), before);
}

TEST_F(RecordingsDeskTest, ASessionIsNotChangedOrExportedInPart) {
  desk.importFiles({make("a.wav")});
  runtime.settle();
  const std::string file = session().files[0].url, stamp = session().timestampString;
  std::ofstream((fs::path(file).parent_path() / ("Broken \u2014 " + stamp + ".wav")).string()) << "none";
  auto open = openSession(bench.defaultFolder(), stamp, context());
  ASSERT_TRUE(open) << open.error().description;
  ASSERT_EQ(open->tracks.size(), 2u);
  EXPECT_FALSE(changeSession(*open, {.tracks = {"a", "none"}, .mute = true}, context()));
  EXPECT_FALSE(open->tracks[0].muted || open->tracks[1].muted);
  const SessionExportRequest mix{.out = {path("mix.wav")}};
  const auto refused = SessionExport(*open, mix, context()).prepare();
  EXPECT_TRUE(!refused && isFault(refused.error(), JobFault::unreadableTrack));
  ASSERT_TRUE(changeSession(*open, {.tracks = {"Broken"}, .mute = true}, context()));
  {
    SessionExport work(*open, mix, context());
    ASSERT_TRUE(work.prepare());
    const SizeLimit full(100);
    EXPECT_FALSE(work.write());
  }
  EXPECT_FALSE(fs::exists(path("mix.wav")));
  ASSERT_TRUE(changeSession(*open, {.all = true, .mute = true}, context()));
  EXPECT_FALSE(measureMix(*open, context())) << "nothing is heard";
}

}  // namespace
}  // namespace sonmere
