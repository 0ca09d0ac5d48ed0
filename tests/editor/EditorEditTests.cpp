#include <random>
#include <set>

#include "EditorWorld.h"
#include "editor/keys/EditorShortcutsMonitor.h"

namespace sonmere {
namespace {

struct EditorEdits : testing::Test, EditorWorld {
  std::shared_ptr<EditorEngine> openTone(std::int64_t frames = 48000) {
    const auto engine = open(makeFile("take.wav", frames));
    wait(0.1);
    return engine;
  }
};

TEST_F(EditorEdits, ValuesAreHeldToTheFile) {
  const auto engine = openTone(1000);
  EXPECT_EQ(**engine->trimRange, TrimRange::whole(1000, 48000));
  engine->setTrimEnd(5000);
  EXPECT_EQ((*engine->trimRange)->endFrame, 1000);
  engine->setTrimStart(1000);
  EXPECT_EQ((*engine->trimRange)->startFrame, 999) << "a range has a frame at least";
  engine->setTrimStart(INT64_MIN);
  engine->setFadeIn(INT64_MAX);
  engine->setFadeOut(-1);
  EXPECT_EQ((*engine->trimRange)->fadeInFrames, 1000);
  EXPECT_EQ((*engine->trimRange)->fadeOutFrames, 0);
  engine->setTrimEnd(400);
  EXPECT_EQ((*engine->trimRange)->fadeInFrames, 400) << "fades stay within the length";
  engine->setTrimEnd(INT64_MIN);
  EXPECT_EQ((*engine->trimRange)->length(), 1);
  engine->setGainDecibels(30);
  EXPECT_EQ((*engine->trimRange)->gainLinear, 16);
  engine->setGainDecibels(-6);
  EXPECT_FLOAT_EQ((*engine->trimRange)->gainLinear, 0.5011872f);
  engine->setGainDecibels(NAN);
  EXPECT_FLOAT_EQ((*engine->trimRange)->gainLinear, 0.5011872f);
  engine->setGainDecibels(-INFINITY);
  EXPECT_EQ((*engine->trimRange)->gainLinear, 0);
}

TEST_F(EditorEdits, NormalisingBringsThePeakOfTheRangeToHalfADecibelBelowFullScale) {
  const auto at = [this](float peak, std::int64_t trimEnd) {
    const std::string path = (folder / "peak.wav").string();
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> samples(1000, 0.0f);
    samples[300] = -peak;
    samples[900] = 1;  // outside the range
    sf_writef_float(file, samples.data(), 1000);
    sf_close(file);
    const auto engine = open(path);
    EXPECT_FALSE(engine->normalize()) << "the file has not been read through yet";
    wait(0.1);
    engine->setTrimEnd(trimEnd);
    EXPECT_TRUE(engine->normalize());
    return (*engine->trimRange)->gainLinear;
  };
  EXPECT_FLOAT_EQ(at(0.25f, 800), 0.94406f / 0.25f);
  EXPECT_EQ(at(0.0001f, 800), 16);
  EXPECT_EQ(at(0.25f, 200), 1) << "a silent range stays as it is";
}

TEST_F(EditorEdits, NormalisingToALoudnessMeasuresTheRangeAsItStandsAtTheEnd) {
  const auto engine = openTone(96000);
  const auto normalize = [&](double target) {
    EXPECT_TRUE(engine->normalizeLoudness(target));
    EXPECT_FALSE(engine->normalizeLoudness(target)) << "one at a time";
  };
  normalize(-20);
  engine->setFadeOut(90000);  // while it is measured
  wait(0.2);
  EXPECT_FALSE(*engine->isNormalizing());
  const float withFade = (*engine->trimRange)->gainLinear;
  engine->setGainLinear(7);
  normalize(-20);
  wait(0.2);
  EXPECT_EQ((*engine->trimRange)->gainLinear, withFade) << "the gain that was there does not count";
  normalize(-26);
  wait(0.2);
  EXPECT_NEAR((*engine->trimRange)->gainLinear, withFade * 0.501, 0.01 * withFade);
  engine->undo();
  EXPECT_EQ((*engine->trimRange)->gainLinear, withFade);
  normalize(-14);
  engine->cancelNormalizing();
  wait(0.2);
  EXPECT_EQ((*engine->trimRange)->gainLinear, withFade);
}

TEST(BackgroundWork, TheNextWorkMayStartAsSoonAsIsRunningFallsAndALateCancelIsTold) {
  VirtualRuntime runtime(1);
  BackgroundWork work(runtime);
  std::vector<std::string> told;
  const auto start = [&](const std::string& name, bool cancels) {
    const auto run = [cancels](ExportProgress& progress) -> Outcome<void> {
      if (cancels) progress.cancel();  // too late to be noticed
      return {};
    };
    work.start(run, [&told, name](const Outcome<void>& result, const ExportProgress& progress) {
      told.push_back(name + (result ? " done" : " failed") + (progress.isCancelled() ? ", cancelled" : ""));
    });
  };
  const auto next = work.isRunning.observe([&, isFirst = true](bool isRunning) mutable {
    if (!isRunning && std::exchange(isFirst, false)) start("second", false);
  });
  start("first", true);
  runtime.advance(fromSeconds(1));
  EXPECT_EQ(told, (std::vector<std::string>{"first done, cancelled", "second done"}));
  EXPECT_FALSE(*work.isRunning);
}

TEST_F(EditorEdits, ADragIsOneStepAndGivesBackWhatItPushedAside) {
  const auto engine = openTone();
  engine->setFadeOut(20000);
  for (const std::int64_t frame : {40000, 20000, 5000}) engine->setTrimEnd(frame, SettingForm::live);
  EXPECT_EQ((*engine->trimRange)->fadeOutFrames, 5000);
  engine->setTrimEnd(30000);
  EXPECT_EQ((*engine->trimRange)->fadeOutFrames, 20000);
  engine->undo();
  EXPECT_EQ((*engine->trimRange)->endFrame, 48000);
  engine->undo();
  EXPECT_EQ(**engine->trimRange, TrimRange::whole(48000, 48000));
  EXPECT_FALSE(engine->canUndo());
  engine->redo();
  engine->redo();
  EXPECT_EQ((*engine->trimRange)->endFrame, 30000);
  EXPECT_FALSE(engine->canRedo());

  // A drag that ends where it began, and an edit that changes nothing, are no steps.
  engine->undo();
  engine->setTrimStart(100, SettingForm::live);
  engine->setTrimStart(0);
  engine->setGainLinear(1);
  engine->undo();
  EXPECT_FALSE(engine->canUndo());
}

TEST_F(EditorEdits, RandomEditsUndoAndRedoLikeAPlainList) {
  for (std::uint32_t seed = 1; seed <= 30; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto engine = openTone(500);
    std::vector<TrimRange> undoStack, redoStack;
    int drag = -1;  // the field of a drag under way
    for (int step = 0; step < 400; ++step) {
      const int what = int(random() % 12);
      const TrimRange before = **engine->trimRange;
      if (what < 9) {
        const int field = what < 5 ? what : std::max(drag, 0);
        const bool isLive = random() % 3 == 0;
        const std::int64_t value = std::int64_t(random() % 600) - 50;
        const auto form = isLive ? SettingForm::live : SettingForm::final;
        const bool goesOn = drag == field;
        switch (field) {
          case 0:
            engine->setTrimStart(value, form);
            break;
          case 1:
            engine->setTrimEnd(value, form);
            break;
          case 2:
            engine->setFadeIn(value, form);
            break;
          case 3:
            engine->setFadeOut(value, form);
            break;
          default:
            engine->setGainLinear(double(value) / 50, form);
            break;
        }
        const TrimRange after = **engine->trimRange;
        if (!goesOn && after != before) {
          undoStack.push_back(before);
          redoStack.clear();
        }
        const bool isDragged = goesOn || after != before;
        if (isDragged && !isLive && after == undoStack.back()) undoStack.pop_back();
        drag = isDragged && isLive ? field : -1;
      } else if (what < 11) {
        EXPECT_EQ(engine->canUndo(), !undoStack.empty());
        engine->undo();
        if (!undoStack.empty()) {
          redoStack.push_back(before);
          EXPECT_EQ(**engine->trimRange, undoStack.back());
          undoStack.pop_back();
        }
        drag = -1;
      } else {
        EXPECT_EQ(engine->canRedo(), !redoStack.empty());
        engine->redo();
        if (!redoStack.empty()) {
          undoStack.push_back(before);
          EXPECT_EQ(**engine->trimRange, redoStack.back());
          redoStack.pop_back();
        }
        drag = -1;
      }
      const TrimRange& now = **engine->trimRange;
      ASSERT_TRUE(now.startFrame >= 0 && now.startFrame < now.endFrame && now.endFrame <= 500);
      ASSERT_TRUE(now.fadeInFrames >= 0 && now.fadeInFrames <= now.length());
      ASSERT_TRUE(now.fadeOutFrames >= 0 && now.fadeOutFrames <= now.length());
      ASSERT_TRUE(now.gainLinear >= 0 && now.gainLinear <= 16);
    }
  }
}

// Saving.

TEST_F(EditorEdits, ASavedFileHasTheDepthOfItsSource) {
  const auto savedAs = [this](int encoding) {
    const auto engine = open(makeFile("source.wav", 1000, 48000, 2, encoding));
    EXPECT_TRUE(engine->saveTrimmed((folder / "out.wav").string(), {}));
    wait(0.1);
    SF_INFO info{};
    sf_close(sf_open((folder / "out.wav").c_str(), SFM_READ, &info));
    return info.format & SF_FORMAT_SUBMASK;
  };
  EXPECT_EQ(savedAs(SF_FORMAT_FLOAT), SF_FORMAT_FLOAT);
  EXPECT_EQ(savedAs(SF_FORMAT_PCM_24), SF_FORMAT_PCM_24);
  EXPECT_EQ(savedAs(SF_FORMAT_PCM_16), SF_FORMAT_PCM_16);
}

TEST_F(EditorEdits, WhatWasChangedAndNotSavedIsKnown) {
  const auto engine = openTone();
  EXPECT_FALSE(engine->hasUnsavedEdits());
  engine->setTrimStart(100);
  EXPECT_TRUE(engine->hasUnsavedEdits());
  EXPECT_TRUE(engine->saveTrimmed((folder / "out.wav").string(), {}));
  EXPECT_TRUE(engine->hasUnsavedEdits()) << "until it is done";
  wait(0.1);
  EXPECT_FALSE(engine->hasUnsavedEdits());
  engine->setFadeIn(50);
  EXPECT_TRUE(engine->hasUnsavedEdits());
  EXPECT_TRUE(engine->saveTrimmed((folder / "second.wav").string(), {}));
  engine->cancelSave();
  wait(0.1);
  EXPECT_TRUE(engine->hasUnsavedEdits());
  engine->setFadeIn(0);
  EXPECT_FALSE(engine->hasUnsavedEdits()) << "as it was saved";
  engine->setTrimStart(0);
  EXPECT_FALSE(engine->hasUnsavedEdits()) << "as the file is";
}

TEST_F(EditorEdits, ASaveThatFailsOrIsCancelledLeavesWhatWasThere) {
  const auto engine = openTone();
  const std::string there = makeFile("there.wav", 10);
  EXPECT_TRUE(engine->saveTrimmed(there, {}));
  EXPECT_FALSE(engine->saveTrimmed((folder / "second.wav").string(), {})) << "one at a time";
  engine->cancelSave();
  wait(0.1);
  EXPECT_FALSE(*engine->isSaving());
  EXPECT_EQ(contentOf(there).size(), 20u);

  std::filesystem::create_directory(folder / "folder.wav");
  EXPECT_TRUE(engine->saveTrimmed((folder / "folder.wav").string(), {}));
  wait(0.1);
  EXPECT_TRUE((**engine->saveError).ends_with("this is a folder; name a file")) << **engine->saveError;
  EXPECT_TRUE(logged("EditorEngine: save failed: "));
  EXPECT_TRUE(engine->saveTrimmed(engine->url(), {}));
  wait(0.1);
  EXPECT_TRUE((**engine->saveError).contains("this is the original"));
  EXPECT_EQ(contentOf(engine->url()).size(), 96000u);

  std::filesystem::remove(engine->url());
  EXPECT_TRUE(engine->saveTrimmed((folder / "new.wav").string(), {}));
  wait(0.1);
  EXPECT_EQ(**engine->saveError, "Save failed. Check disk space and try again.");
  std::set<std::string> left;
  for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
    left.insert(entry.path().filename());
  EXPECT_EQ(left, (std::set<std::string>{"there.wav", "folder.wav"}));
  EXPECT_EQ(engine->suggestedPath({}), (folder / "take (Trimmed).wav").string());
}

// What is shown, and keys.

TEST_F(EditorEdits, ZoomAndPinchKeepThePlayheadsPlaceOnScreen) {
  const auto engine = openTone();
  EditorViewport& view = engine->viewport();
  EXPECT_EQ(view.length(), 48000);
  engine->seek(12000);  // at a quarter
  engine->perform(EditorShortcutAction::zoomIn);
  EXPECT_EQ(*view.viewStart, 6000);
  EXPECT_EQ(*view.viewEnd, 30000);
  ASSERT_EQ(engine->waveform().channelBuffers().at(0).size(), 2400u) << "the waveform shows what is in view";
  view.pinchBegan(12000, 0);
  view.pinchChanged(4, 12000);
  EXPECT_EQ(view.length(), 6000);
  EXPECT_EQ(*view.viewStart, 12000 - 1500);
  view.pinchChanged(1e9, 12000);
  EXPECT_EQ(view.length(), EditorViewport::kMinimumLength);
  view.pinchChanged(1e-9, 12000);
  EXPECT_EQ(view.length(), 48000);
  view.pinchChanged(0, 12000);
  view.pinchEnded();
  // Without the playhead in view the fallback keeps its place.
  view.show(24000, 48000);
  view.pinchBegan(12000, 30000);
  view.pinchChanged(2, 12000);
  EXPECT_EQ(*view.viewStart, 27000);
  EXPECT_EQ(*view.viewEnd, 39000);
  view.pinchEnded();
  view.scroll(-100000);
  EXPECT_EQ(*view.viewStart, 0);
  engine->perform(EditorShortcutAction::zoomToFit);
  EXPECT_EQ(view.length(), 48000);
}

struct FakeWindow final : EditorWindow {
  bool isKey() const override { return hasKeys; }
  bool hasKeys = true;
};

TEST_F(EditorEdits, KeysCountOnlyWhileTheEditorsWindowHasThem) {
  const auto engine = openTone();
  settings.set(EditorShortcuts::kShortcutsKey,
               SettingsValue::Dictionary{{"zoomIn", "z"}, {"zoomOut", "space"}, {"nonsense", "q"}});
  EditorShortcuts shortcuts(settings, log);
  EXPECT_EQ(shortcuts.key(EditorShortcutAction::zoomIn), "z");
  EXPECT_EQ(shortcuts.key(EditorShortcutAction::zoomOut), "-") << "space is taken";
  EXPECT_TRUE(logged("\"nonsense\""));
  EXPECT_FALSE(shortcuts.setKey(EditorShortcutAction::zoomIn, "i"));
  EXPECT_TRUE(shortcuts.setKey(EditorShortcutAction::setTrimEndAtPlayhead, "e"));
  EXPECT_EQ(EditorShortcuts(settings, log).action("e"), EditorShortcutAction::setTrimEndAtPlayhead);

  // Two actions that have changed places by way of a third key.
  EXPECT_TRUE(shortcuts.setKey(EditorShortcutAction::nudgePlayheadLeft, "x"));
  EXPECT_TRUE(shortcuts.setKey(EditorShortcutAction::nudgePlayheadRight, "left"));
  EXPECT_TRUE(shortcuts.setKey(EditorShortcutAction::nudgePlayheadLeft, "right"));
  EXPECT_EQ(EditorShortcuts(settings, log).action("left"), EditorShortcutAction::nudgePlayheadRight);
  EXPECT_EQ(EditorShortcuts(settings, log).action("right"), EditorShortcutAction::nudgePlayheadLeft);

  KeyEvents keys;
  auto window = std::make_shared<FakeWindow>();
  EditorShortcutsMonitor monitor(shortcuts);
  monitor.start(keys, window, [&](EditorShortcutAction action) { return engine->perform(action); });
  EXPECT_TRUE(keys.deliver("shift+right"));
  EXPECT_EQ(*engine->playheadFrame(), 48000);
  EXPECT_TRUE(keys.deliver("right"));
  EXPECT_EQ(*engine->playheadFrame(), 48000 - 480);
  EXPECT_TRUE(keys.deliver("e"));
  EXPECT_EQ((*engine->trimRange)->endFrame, 48000 - 480);
  EXPECT_FALSE(keys.deliver("w"));
  window->hasKeys = false;
  EXPECT_FALSE(keys.deliver("left"));
  window->hasKeys = true;
  monitor.stop();
  EXPECT_FALSE(keys.deliver("left"));
  monitor.start(keys, window, [&](EditorShortcutAction action) { return engine->perform(action); });
  window.reset();
  EXPECT_FALSE(keys.deliver("space"));
  EXPECT_FALSE(*engine->isPlaying());
}

}  // namespace
}  // namespace sonmere
