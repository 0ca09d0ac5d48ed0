#include <filesystem>
#include <fstream>
#include <random>

#include "EditorWorld.h"
#include "base/AtomicFile.h"
#include "editor/MultiTrackEditorEngine.h"
#include "recording/RecordingBitDepth.h"
#include "support/RealtimeGuard.h"

namespace sonmere {
namespace {

constexpr const char* kStamp = "2026-01-31 12-00-00";

struct MultiTrack : testing::Test, EditorWorld {
  // Tracks of the session, one after the other 1000 frames longer.
  RecordingSession session(int tracks, std::int64_t frames = 96000) {
    RecordingSession session;
    session.timestampString = kStamp;
    for (int i = 1; i <= tracks; ++i) {
      const std::string name = "Sonmere Track " + std::to_string(i) + " — " + kStamp + ".wav";
      RecordingFile file;
      file.url = makeFile(name, frames + 1000 * (i - 1));
      file.displayName = "Track " + std::to_string(i);
      session.files.push_back(file);
    }
    return session;
  }
  std::string url(std::size_t index) const { return (*editor.trackEngines)[index]->url(); }
  EditorEngine& track(std::size_t index) const { return *(*editor.trackEngines)[index]; }
  std::filesystem::path sidecar() const { return folder / ".sonmere-edits.json"; }
  std::string add(const std::string& path) {
    std::string outcome = "not told";
    editor.addTrack(path, [&](const auto& added) { outcome = added ? "" : added.error().description(); });
    wait(0.2);
    return outcome;
  }
  std::vector<float> heardWhile(double seconds) {
    const auto ear = host().hear(SimulatedHost::kSpeakersUID);
    editor.play();
    wait(seconds);
    return sounding(ear->samples());
  }

  MultiTrackEditorEngine editor{context};
};

TEST_F(MultiTrack, TracksPlayInStepAtTheirPlacesWithTheirEdits) {
  editor.open(session(3, 48000));
  wait(0.1);
  track(0).setGainLinear(0.5);
  track(1).setTrimStart(20000);
  track(1).setFadeIn(5000);
  track(1).setTrimEnd(30000);
  track(2).setTrimEnd(40000);
  const RealtimeGuard guard;
  const auto heard = heardWhile(2);
  EXPECT_REALTIME_SAFE(guard);
  EXPECT_FALSE(*editor.isPlaying());
  EXPECT_EQ(*editor.playheadFrame(), 48000);
  const auto signal = EditorWorld::signal(48000);
  ASSERT_EQ(heard.size(), signal.size());
  for (std::size_t i = 0; i < signal.size(); ++i) {
    const auto frame = std::int64_t(i) / 2;
    float expected = signal[i] * 0.5f;
    if (frame >= 20000 && frame < 30000)
      expected += frame < 25000 ? signal[i] * (float(frame - 20000) * (1.0f / 5000.0f)) : signal[i];
    if (frame < 40000) expected += signal[i];
    ASSERT_NEAR(heard[i], expected, 1e-6) << frame;
  }
}

TEST_F(MultiTrack, SoloAndMuteDecideWhatIsHeardWhilePlayingToo) {
  editor.open(session(2, 96000));
  wait(0.1);
  track(0).setGainLinear(0.25);
  track(1).setGainLinear(0.5);
  EXPECT_TRUE(editor.isAudible(url(0)));
  editor.setSoloed(url(1), true);
  EXPECT_FALSE(editor.isAudible(url(0)));
  EXPECT_TRUE(editor.isAudible(url(1)));
  editor.setMuted(url(1), true);
  EXPECT_FALSE(editor.isAudible(url(1))) << "mute wins";
  EXPECT_TRUE(heardWhile(0.5).empty()) << "and the playing goes on in silence";
  EXPECT_TRUE(*editor.isPlaying());
  const auto ear = host().hear(SimulatedHost::kSpeakersUID);
  editor.setMuted(url(1), false);
  editor.setSoloed(url(1), false);
  wait(5);
  const auto heard = sounding(ear->samples());
  const auto signal = EditorWorld::signal(97000);
  // To the end of both: what sounds last is the second track alone.
  ASSERT_GT(heard.size(), 2u * 48000);
  for (std::size_t i = 0; i < heard.size(); ++i) {
    const std::size_t at = signal.size() - heard.size() + i;
    ASSERT_NEAR(heard[i], signal[at] * (at < 2u * 96000 ? 0.75f : 0.5f), 1e-6);
  }
}

TEST_F(MultiTrack, TracksOfOtherRatesLoopTogether) {
  RecordingSession mixed = session(1, 48000);
  mixed.files.push_back({makeFile("slow.wav", 44100, 44100), "slow", RecordingFormat::wav, 1, 1});
  editor.open(mixed);
  wait(0.1);
  EXPECT_EQ(editor.totalFrames(), 48000);
  editor.setLoop(true);
  editor.play();
  wait(3.5);
  EXPECT_TRUE(*editor.isPlaying());
  EXPECT_LT(*editor.playheadFrame(), 48000);
  EXPECT_FALSE(logged("came too late"));
}

TEST_F(MultiTrack, ADragWritesTheSidecarOnceAndTheSessionOpensAsItWasLeft) {
  const RecordingSession opened = session(2);
  editor.open(opened);
  wait(2);
  EXPECT_FALSE(std::filesystem::exists(sidecar())) << "nothing was edited";
  for (int i = 1; i <= 50; ++i) {
    track(0).setTrimStart(100 * i, SettingForm::live);
    wait(0.02);
    EXPECT_FALSE(std::filesystem::exists(sidecar()));
  }
  track(0).setTrimStart(5000);
  wait(1);
  ASSERT_TRUE(std::filesystem::exists(sidecar()));
  const auto written = std::filesystem::last_write_time(sidecar());
  wait(5);
  EXPECT_EQ(std::filesystem::last_write_time(sidecar()), written);
  track(1).setGainDecibels(-6);
  track(1).setFadeOut(960);
  editor.setMuted(url(1), true);
  editor.setSoloed(url(0), true);
  editor.close();  // writes what waits

  const TrimRange none = TrimRange::whole(97000, 48000);
  editor.open(opened);
  EXPECT_FALSE(editor.isRestoringFromSidecar());
  EXPECT_EQ((*track(0).trimRange)->startFrame, 5000);
  EXPECT_EQ((*track(1).trimRange)->fadeOutFrames, 960);
  EXPECT_FLOAT_EQ((*track(1).trimRange)->gainLinear, 0.5011872f);
  EXPECT_EQ(*editor.mutedTracks, std::set{url(1)});
  EXPECT_EQ(*editor.soloedTracks, std::set{url(0)});
  EXPECT_FALSE(editor.canUndo()) << "the state it opened in is the first";
  const auto before = readWholeFile(sidecar());
  wait(2);
  EXPECT_EQ(readWholeFile(sidecar()), before) << "restoring saves nothing";
  std::filesystem::remove(sidecar());
  editor.open(opened);
  EXPECT_EQ(**track(1).trimRange, none);
}

TEST_F(MultiTrack, ValuesOutOfRangeAreHeldToTheFileWhenTheyAreApplied) {
  const RecordingSession opened = session(1, 1000);
  const std::string name = std::filesystem::path(opened.files[0].url).filename();
  ASSERT_TRUE(writeFileAtomically(
      sidecar(), R"({"schemaVersion":1,"tracks":{")" + name +
                     R"(":{"trimStartFrame":-5,"trimEndFrame":9223372036854775807,"fadeInFrames":1e15,
                        "fadeOutFrames":-1,"gainLinear":1e9}}})"));
  editor.open(opened);
  EXPECT_EQ(**track(0).trimRange, (TrimRange{0, 1000, 1000, 0, 16, 1000, 48000}));
}

TEST_F(MultiTrack, AddingTracks) {
  const RecordingSession opened = session(15, 1000);
  editor.open(opened);
  EXPECT_EQ(add(opened.files[3].url), "That file is already in this project.");
  std::ofstream(folder / "noise.txt") << "no audio at all";
  EXPECT_EQ(add((folder / "noise.txt").string()), "Couldn't decode that audio file.");

  // Another rate: it becomes a file of the session. Adding it again is a duplicate.
  std::filesystem::create_directory(folder / "elsewhere");
  const std::string guitar = makeFile("elsewhere/guitar.wav", 44100, 44100, 1);
  EXPECT_EQ(add(guitar), "");
  ASSERT_EQ(editor.trackEngines->size(), 16u);
  EXPECT_EQ(url(15), (folder / ("guitar — " + std::string(kStamp) + ".wav")).string());
  EXPECT_EQ(track(15).format().sampleRate, 48000);
  EXPECT_EQ(editor.trackName(url(15)), "Track 16");
  EXPECT_EQ(*editor.userAddedTracks, std::set{url(15)});
  EXPECT_EQ(add(makeFile("one-more.wav", 1000)), "Track limit reached (16-track limit for one project.)");
  EXPECT_EQ(editor.trackEngines->size(), 16u);

  const std::string added = url(15);
  editor.undo();
  EXPECT_EQ(editor.trackEngines->size(), 15u);
  EXPECT_TRUE(editor.userAddedTracks->empty());
  EXPECT_TRUE(std::filesystem::exists(added)) << "the file stays";
  editor.redo();
  EXPECT_EQ(url(15), added);
  EXPECT_EQ(add(guitar), "Track limit reached (16-track limit for one project.)");
  editor.close();
  // The library may or may not list it with the session: it comes back.
  editor.open(opened);
  ASSERT_EQ(editor.trackEngines->size(), 16u);
  EXPECT_EQ(*editor.userAddedTracks, std::set{added});
}

TEST_F(MultiTrack, ARedoThatTakesTheLastPlaceDuringAnImportKeepsTheLimit) {
  editor.open(session(15, 1000));
  EXPECT_EQ(add(makeFile("first.wav", 1000)), "");
  const std::string first = url(15);
  editor.undo();
  std::filesystem::create_directory(folder / "elsewhere");
  std::string outcome;
  editor.addTrack(makeFile("elsewhere/second.wav", 1000),
                  [&](const auto& added) { outcome = added ? "added" : added.error().description(); });
  editor.redo();
  wait(1);
  EXPECT_EQ(outcome, "Track limit reached (16-track limit for one project.)");
  ASSERT_EQ(editor.trackEngines->size(), 16u);
  EXPECT_EQ(url(15), first);
  EXPECT_FALSE(std::filesystem::exists(folder / ("second — " + std::string(kStamp) + ".wav")));
}

TEST_F(MultiTrack, PlayingEndsWithTheLastTrack) {
  RecordingSession opened = session(0);
  opened.files.push_back({(folder / "gone.wav").string(), "gone", RecordingFormat::wav, 0, 0});
  editor.open(opened);
  EXPECT_EQ(add(makeFile("only.wav", 96000)), "");
  editor.play();
  wait(0.3);
  EXPECT_TRUE(*editor.isPlaying());
  editor.undo();
  editor.seek(100);
  EXPECT_FALSE(*editor.isPlaying());
  editor.redo();
  wait(0.3);
  EXPECT_FALSE(*editor.isPlaying());
  EXPECT_EQ(heardWhile(3).size(), 2u * 96000);
}

TEST_F(MultiTrack, AFileOfTheSessionsFolderAndFormatJoinsWhereItIs) {
  editor.open(session(2, 1000));
  const std::string take = makeFile("other take.wav", 2000);
  EXPECT_EQ(add(take), "");
  EXPECT_EQ(url(2), std::filesystem::canonical(take));
  EXPECT_EQ(editor.trackName(url(2)), "Track 3");
  EXPECT_EQ(add(take), "That file is already in this project.");
}

TEST_F(MultiTrack, AnAddedFileThatCantBeOpenedForOnceStaysInTheSession) {
  const RecordingSession opened = session(1, 1000);
  editor.open(opened);
  EXPECT_EQ(add(makeFile("take.wav", 1000)), "");
  editor.close();
  const std::string content = readWholeFile(folder / "take.wav").value();
  std::ofstream(folder / "take.wav") << "not for now";
  editor.open(opened);
  EXPECT_EQ(editor.trackEngines->size(), 1u);
  track(0).setGainLinear(0.5);
  editor.close();
  std::ofstream(folder / "take.wav", std::ios::binary) << content;
  editor.open(opened);
  EXPECT_EQ(editor.trackEngines->size(), 2u);
}

TEST_F(MultiTrack, AnImportThatOutlivesTheSessionTellsNobody) {
  editor.open(session(1, 1000));
  std::filesystem::create_directory(folder / "elsewhere");
  bool isTold = false;
  editor.addTrack(makeFile("elsewhere/a.wav", 1000), [&](const auto&) { isTold = true; });
  EXPECT_EQ(*editor.importCount, 1);
  editor.close();
  wait(1);
  EXPECT_FALSE(isTold);
  EXPECT_EQ(*editor.importCount, 0);
}

TEST_F(MultiTrack, RandomEditsOfAllKindsUndoLikeAListOfStates) {
  for (std::uint32_t seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    MultiTrackEditorEngine each(context);
    each.open(session(3, 500));
    const auto snapshot = [&] {
      std::string text;
      for (const auto& one : *each.trackEngines) {
        const TrimRange& range = **one->trimRange;
        text += one->fileName() + " " + std::to_string(range.startFrame) + " " +
                std::to_string(range.endFrame) + " " + std::to_string(range.gainLinear) + " " +
                std::to_string(each.isAudible(one->url())) +
                std::to_string(each.soloedTracks->contains(one->url())) +
                std::to_string(each.mutedTracks->contains(one->url())) + "\n";
      }
      return text;
    };
    std::vector<std::string> states = {snapshot()};
    std::size_t now = 0;
    const std::string extra = makeFile("extra" + std::to_string(seed) + ".wav", 700);
    for (int step = 0; step < 150; ++step) {
      const auto count = each.trackEngines->size();
      const auto engine = (*each.trackEngines)[random() % count];
      switch (random() % 8) {
        case 0:
          engine->setTrimStart(std::int64_t(random() % 400), SettingForm::live);
          engine->setTrimStart(std::int64_t(random() % 400), SettingForm::live);
          engine->setTrimStart(std::int64_t(random() % 400));
          break;
        case 1:
          engine->setGainLinear(double(random() % 100) / 50);
          break;
        case 2:
          each.setMuted(engine->url(), random() % 2);
          break;
        case 3:
          each.setSoloed(engine->url(), random() % 2);
          break;
        case 4:
          each.addTrack(extra, [](const auto&) {});
          break;
        case 5:
        case 6:
          EXPECT_EQ(each.canUndo(), now > 0);
          each.undo();
          if (now > 0) --now;
          ASSERT_EQ(snapshot(), states[now]);
          continue;
        default:
          EXPECT_EQ(each.canRedo(), now + 1 < states.size());
          each.redo();
          if (now + 1 < states.size()) ++now;
          ASSERT_EQ(snapshot(), states[now]);
          continue;
      }
      if (snapshot() == states[now]) continue;
      states.resize(++now);
      states.push_back(snapshot());
    }
    std::filesystem::remove(extra);
    each.close();
    std::filesystem::remove(sidecar());
  }
}

TEST_F(MultiTrack, ExportsTakeTheEditsAndSayWhatFails) {
  editor.open(session(2, 2000));
  track(0).setGainLinear(0.25);
  editor.setMuted(url(1), true);
  settings.set(kRecordingBitDepthKey, "float32");
  EXPECT_TRUE(editor.exportMix((folder / "mix.wav").string()));
  EXPECT_FALSE(editor.exportMix((folder / "mix.wav").string())) << "one at a time";
  wait(0.5);
  EXPECT_FALSE(*editor.isSaving());
  const auto mix = contentOf((folder / "mix.wav").string());
  const auto signal = EditorWorld::signal(2000);
  ASSERT_EQ(mix.size(), signal.size());
  EXPECT_EQ(mix[77], signal[77] * 0.25f);
  EXPECT_TRUE(editor.exportStems((folder / "stems").string()));
  wait(0.5);
  EXPECT_FALSE(*editor.saveError) << **editor.saveError;
  EXPECT_EQ(contentOf((folder / "stems" / "Track 2.wav").string()).size(), 2u * 3000);

  editor.setMuted(url(0), true);
  EXPECT_FALSE(editor.exportMix((folder / "mix.wav").string()));
  EXPECT_TRUE((**editor.saveError).starts_with("Every track is muted"));
  std::ofstream(folder / "file") << "x";
  EXPECT_TRUE(editor.exportStems((folder / "file" / "stems").string()));
  wait(0.5);
  EXPECT_TRUE((**editor.saveError).starts_with("Couldn't create export folder: ")) << **editor.saveError;
  // The session once more: nothing is told of what failed before, or fails now.
  editor.open(*editor.session());
  EXPECT_FALSE(*editor.saveError);
  EXPECT_TRUE(editor.exportStems((folder / "file" / "stems").string()));
  editor.open(*editor.session());
  wait(0.5);
  EXPECT_EQ(editor.trackEngines->size(), 2u);
  EXPECT_FALSE(*editor.saveError);
}

TEST_F(MultiTrack, ADraggedPlayheadIsHeardForAMomentOnAudibleTracksOnly) {
  editor.open(session(2, 96000));
  wait(0.1);
  track(0).setGainLinear(0.25);
  editor.setMuted(url(1), true);
  const auto ear = host().hear(SimulatedHost::kSpeakersUID);
  editor.scrub(48000);
  wait(0.5);
  EXPECT_EQ(*editor.playheadFrame(), 48000);
  EXPECT_FALSE(*editor.isPlaying());
  const auto heard = sounding(ear->samples());
  EXPECT_NEAR(double(heard.size()) / 2, 2880, 20);
  const auto signal = EditorWorld::signal(97000);
  EXPECT_FLOAT_EQ(heard[2 * 1000], signal[2 * (48000 + 1001)] * 0.25f);
  editor.endScrub();
}

TEST_F(MultiTrack, ATrackThatCantBeReadIsLeftOutAndTheOthersPlay) {
  RecordingSession opened = session(2, 48000);
  opened.files.push_back({(folder / "gone.wav").string(), "gone", RecordingFormat::wav, 0, 0});
  editor.open(opened);
  EXPECT_EQ(editor.trackEngines->size(), 2u);
  EXPECT_TRUE(logged("a track is left out: "));
  wait(0.1);
  std::filesystem::remove(url(0));
  EXPECT_EQ(heardWhile(2).size(), 2u * 49000);
  EXPECT_EQ(countLogged("MultiTrackEditorEngine: play failed: "), 1);

  // None is left: a loop would try again and again.
  std::filesystem::remove(url(1));
  lines.clear();
  editor.setLoop(true);
  editor.play();
  wait(2);
  EXPECT_FALSE(*editor.isPlaying());
  EXPECT_EQ(countLogged("MultiTrackEditorEngine: play failed: "), 2);
}

}  // namespace
}  // namespace sonmere
