// Engines belong to the main thread, and say so before anything has changed.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "base/ThreadRules.h"
#include "base/VirtualRuntime.h"
#include "support/AppWorld.h"

namespace sonmere {
namespace {

class EngineThreadTest : public ::testing::Test {
 protected:
  EngineThreadTest() { first_.clear(); }
  ~EngineThreadTest() override { ThreadRules::install(before_); }

  // In which file the first rule is broken when the work is done on another thread; nothing if none is.
  static std::string whereBroken(const std::function<void()>& work) {
    first_.clear();
    const ThreadRole elsewhere(ThreadRole::Kind::other);
    work();
    return first_.substr(first_.rfind('/') + 1);
  }

  AppWorld<VirtualRuntime> world_{1};

 private:
  inline static std::string first_;
  ThreadRules::Handler before_ =
      ThreadRules::install([](const char*, const std::source_location& where) noexcept {
        if (first_.empty()) first_ = where.file_name();
      });
};

TEST_F(EngineThreadTest, NoEngineIsToldAnythingFromAnotherThread) {
  ToneFerryApp& app = world_.start();
  const struct {
    std::string file;
    std::function<void()> work;
  } acts[] = {
      {"AppTapEngine.cpp", [&] { app.appTapEngine()->setRouted("org.beat", false); }},
      {"AppTapEngine.cpp", [&] { app.appTapEngine()->setVolume("org.beat", 0.5f); }},
      {"RowSets.cpp", [&] { app.appTapEngine()->visibility().hide("org.beat"); }},
      {"RoutingMonitors.cpp", [&] { app.appTapEngine()->monitors().setMonitored("org.beat", false); }},
      {"RoutingEffects.cpp",
       [&] { app.appTapEngine()->effects().setMasterEqualiser(3, {}, SettingForm::final); }},
      {"VolumeMixerEngine.cpp", [&] { app.volumeMixerEngine()->setMasterVolume(0.5f); }},
      {"VolumeMixerEngine.cpp", [&] { app.volumeMixerEngine()->setEnabled(false); }},
      {"MicPassthroughEngine.cpp", [&] { app.micEngine()->setVolume(0.5f); }},
      {"MicPassthroughEngine.cpp", [&] { app.micEngine()->setEnabled(false); }},
      {"InputPinEngine.cpp", [&] { app.inputPinEngine()->setEnabled(false); }},
      {"MonitorOutput.cpp", [&] { app.monitorOutput()->followDefault(); }},
      {"SystemAudioEngine.cpp", [&] { app.systemAudioEngine()->setEnabled(false); }},
      {"MixModeEngine.cpp", [&] { app.mixModeEngine()->setSystemAudioVolume(0.5f); }},
      {"DAWAggregateEngine.cpp", [&] { app.dawAggregateEngine()->setEnabled(false); }},
      {"CombinedInputEngine.cpp", [&] { app.combinedInputEngine()->remove(); }},
      {"DriverManager.cpp", [&] { app.driverManager().refreshStatus(); }},
      {"BusRecordings.cpp", [&] { app.recordings()->setDefaultRecordingFormat(RecordingFormat::wav); }},
      {"BusRecordings.cpp", [&] { app.recordings()->stopAllRecordings(); }},
      {"DualMonoEngine.cpp", [&] { app.dualMonoEngine()->setLayout(RecordingLayout::mixed); }},
      {"RecordingsLibrary.cpp", [&] { app.recordingsLibrary()->useDefaultFolder(); }},
  };
  // Made on the main thread, at the first look.
  for (const auto& act : acts) act.work();
  for (const auto& act : acts) EXPECT_EQ(whereBroken(act.work), act.file);
}

}  // namespace
}  // namespace sonmere
