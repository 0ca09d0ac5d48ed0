#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "dsp/EffectSettingsCodec.h"
#include "dsp/Limiter.h"
#include "support/RoutingInsides.h"
#include "support/RoutingWorld.h"

namespace sonmere {
namespace {

struct BusOutputsTest : testing::Test {
  void begin(SimulatedOptions options = {}) {
    world = std::make_unique<RoutingWorld>(1, options);
    music = world->launch("music");
    world->startEngine();
    world->engine->setBus("music", 3);
  }

  std::unique_ptr<RoutingWorld> world;
  SimulatedApp music;
};

TEST_F(BusOutputsTest, EachFailureOfAStartIsToldAndLeavesNoUnit) {
  const std::vector<std::pair<Operation, std::string>> cases = {
      {Operation::newOutputUnit, "Failed to create output AudioUnit: -50"},
      {Operation::unitSetCurrentDevice, "Failed to set output device: -50"},
      {Operation::unitSetStreamFormat, "Failed to set stream format: -50"},
      {Operation::unitSetRenderCallback, "Failed to set render callback: -50"},
      {Operation::unitInitialize, "Failed to initialize output AU: -50"},
      {Operation::unitStart, "Failed to start output AU: -50"},
  };
  for (const auto& [operation, message] : cases) {
    SCOPED_TRACE(message);
    begin();
    world->host().faults().failNth(operation, 1, -50);
    EXPECT_TRUE(world->engine->setRouted("music", true)) << "the tap itself runs";
    EXPECT_EQ(world->error(), message);
    EXPECT_FALSE(world->engine->isBusRunning(3));
    EXPECT_EQ(world->host().counts().units, 0u);
    RoutingInsides(*world->engine).outputs.start(3);
    EXPECT_TRUE(world->engine->isBusRunning(3));
  }
  begin({.hasOutputComponent = false});
  world->engine->setRouted("music", true);
  EXPECT_EQ(world->error(), "Audio component not found.");
  EXPECT_TRUE(world->logged("Sonmere: Audio component not found."));
}

TEST_F(BusOutputsTest, TheUnitRunsWhileItsBusHasATapOrASend) {
  begin();
  const auto& outputs = RoutingInsides(*world->engine).outputs;
  world->engine->setRouted("music", true);
  EXPECT_TRUE(world->logged("Sonmere: Output AudioUnit started on bus 3"));
  world->engine->setMicSend(3, 0.5f);
  world->engine->setRouted("music", false);
  EXPECT_TRUE(outputs.isRunning(3));
  world->engine->setMicSend(3, 0.001f);
  EXPECT_FALSE(outputs.isRunning(3));
  EXPECT_TRUE(world->logged("Sonmere: Output AudioUnit stopped on bus 3"));
  world->engine->setMicSend(7, 0.002f);
  EXPECT_TRUE(outputs.isRunning(7));
}

TEST_F(BusOutputsTest, SendsSurviveARelaunchAndDamagedOnesDoNot) {
  begin();
  world->engine->setMicSend(3, 0.5f);
  world->engine->setMicSend(4, 2);
  world->engine->setMicSend(5, 0.25f);
  world->engine->setMicSend(5, 0);
  const auto relaunch = [&] {
    world->engine.reset();
    world->micSend->gains = {};
    world->startEngine();
    std::map<int, float> gains;
    for (int bus = 0; bus < kBusCount; ++bus)
      if (const float gain = world->micSend->gains[std::size_t(bus)]; gain != 0) gains[bus] = gain;
    return gains;
  };
  EXPECT_EQ(relaunch(), (std::map<int, float>{{3, 0.5f}, {4, 2}}));
  EXPECT_TRUE(world->engine->isBusRunning(3));
  world->settings.set(
      "sonmere.mic.sends",
      SettingsValue::Dictionary{
          {"0", std::int64_t(1)}, {"2", -1.0}, {"3", 2.5}, {"4", "loud"}, {"5", 0.0}, {"77", 1.0}});
  EXPECT_EQ(relaunch(), (std::map<int, float>{{0, 1}}));
}

TEST_F(BusOutputsTest, WithoutTheDriverTheBusIsMissedAndComesBackWithIt) {
  begin();
  world->host().removeDriver();
  world->settle();
  EXPECT_TRUE(world->engine->setRouted("music", true));
  EXPECT_EQ(world->error(), "Sonmere Tone Ferry device 3 not found.");
  world->host().installDriver();
  world->settle();
  EXPECT_TRUE(world->engine->isBusRunning(3));
  world->host().removeDriver();
  world->settle();
  EXPECT_FALSE(world->engine->isBusRunning(3));
  // The bridge as the Tracks.
  world->host().installDriver();
  world->engine->setBus("music", kBridgeBus);
  world->settle();
  EXPECT_TRUE(world->engine->isBusRunning(kBridgeBus));
  world->host().removeDriver();
  world->settle();
  EXPECT_FALSE(world->engine->isBusRunning(kBridgeBus));
}

TEST_F(BusOutputsTest, AChangeOfTheBridgesRateRestartsTheUnitAndCutsTheBacklog) {
  begin();
  music.play(SampleSources::tone(440, 0.5f));
  world->engine->setRouted("music", true);
  EXPECT_EQ(RoutingInsides(*world->engine).outputs.sampleRate(3), 48000);
  const auto tap = RoutingInsides(*world->engine).tap("music");
  world->wait(0.2);
  const float noise[4000] = {};
  tap->ring.writer.write(noise, 4000);
  ASSERT_TRUE(world->host().setNominalRate("ToneFerry_UID", 44100));
  world->wait(0.5);
  EXPECT_EQ(RoutingInsides(*world->engine).outputs.sampleRate(3), 44100);
  EXPECT_EQ(world->platform.hardware().nominalSampleRate(tap->objects.aggDeviceID), 44100);
  EXPECT_LT(tap->ring.available(), 4000);
  EXPECT_GT(tap->ring.reader().skipped, 0);
  EXPECT_EQ(world->engine->busSampleRate(3), 44100);
  EXPECT_EQ(world->engine->busSampleRate(8), 44100) << "a bus without a unit takes the bridge's";

  world->engine->setRecordingRate([](int) { return std::optional(44100.0); });
  world->host().setNominalRate("ToneFerry_UID", 96000);
  world->wait(0.5);
  EXPECT_EQ(RoutingInsides(*world->engine).outputs.sampleRate(3), 44100) << "a running file holds the rate";
  world->engine->setRecordingRate([](int) { return std::optional<double>(); });
  world->engine->setRecorderRing(3, nullptr);
  world->wait(0.1);
  EXPECT_EQ(RoutingInsides(*world->engine).outputs.sampleRate(3), 96000) << "until it ends";
}

TEST_F(BusOutputsTest, EffectsAreStoredByTheFinalFormAndLoadedByNewTaps) {
  begin();
  auto& effects = world->engine->effects();
  const AppEQSettings equaliser{.isEnabled = true, .paraGain = 5};
  effects.setAppEqualiser("music", equaliser, SettingForm::live);
  effects.setMasterLimiter(3, {true, -6}, SettingForm::live);
  EXPECT_FALSE(world->settings.object("sonmere.appEQSettings.music"));
  EXPECT_FALSE(world->settings.object("sonmere.masterLimiterSettings.3"));
  EXPECT_TRUE(RoutingInsides(*world->engine).render.masters[3].limiterEnabled);
  effects.setAppEqualiser("music", equaliser, SettingForm::final);
  effects.setAppLimiter("music", {true, -6}, SettingForm::final);
  effects.setMasterEqualiser(3, equaliser, SettingForm::final);
  effects.setMasterLimiter(3, {true, -6}, SettingForm::final);
  effects.setMasterEqualiser(10, equaliser, SettingForm::final);
  EXPECT_EQ(decodeJSON<AppEQSettings>(*world->settings.data("sonmere.appEQSettings.music")), equaliser);
  EXPECT_TRUE(world->settings.data("sonmere.appEQSettings.__master__3"));
  EXPECT_FALSE(world->settings.object("sonmere.appEQSettings.__master__10"));
  world->settings.set("sonmere.appLimiterSettings.radio", SettingsData{"not JSON"});
  effects.setAppEqualiser("music", {.isEnabled = true, .paraGain = std::nan("")}, SettingForm::final);
  EXPECT_EQ(decodeJSON<AppEQSettings>(*world->settings.data("sonmere.appEQSettings.music")), equaliser)
      << "what can't be read back is not written";

  world->engine.reset();
  world->launch("radio");
  world->startEngine();
  world->engine->setRouted("music", true);
  world->engine->setRouted("radio", true);
  const auto music2 = RoutingInsides(*world->engine).tap("music"),
             radio = RoutingInsides(*world->engine).tap("radio");
  ASSERT_TRUE(music2 && radio);
  EXPECT_TRUE(music2->eqEnabled);
  EXPECT_EQ(music2->eqCoefficients[5], coefficients48k(equaliser)[5]);
  EXPECT_EQ(music2->limiterCeiling, limiterCeiling(-6));
  EXPECT_FALSE(radio->limiterEnabled) << "what can't be read is the default";
  EXPECT_TRUE(RoutingInsides(*world->engine).render.masters[3].eqEnabled);
  EXPECT_TRUE(RoutingInsides(*world->engine).render.masters[3].limiterEnabled);

  music2->limiterGain = 0.5f;
  world->engine->effects().setAppLimiter("music", {true, -3}, SettingForm::live);
  EXPECT_EQ(music2->limiterGain, 0.5f);
  world->engine->effects().setAppLimiter("music", {true, -3}, SettingForm::final);
  EXPECT_EQ(music2->limiterGain, 1.0f);
}

// A drag is heard at once, and only its end is kept, told, and begins with a fresh gain.
TEST_F(BusOutputsTest, TheLiveFormOfAMastersEffectsIsHeardAndTheFinalOneKept) {
  begin();
  auto& effects = world->engine->effects();
  BusMaster& master = RoutingInsides(*world->engine).render.masters[3];
  const AppEQSettings equaliser{.isEnabled = true, .paraGain = 5};
  int told = 0;
  const auto equalisers = effects.masterEQSettings.observe([&](const auto&) { ++told; });
  const auto limiters = effects.masterLimiterSettings.observe([&](const auto&) { ++told; });
  for (const SettingForm form : {SettingForm::live, SettingForm::final}) {
    const bool isFinal = form == SettingForm::final;
    SCOPED_TRACE(isFinal);
    master.limiterGain = 0.5f;
    effects.setMasterEqualiser(3, equaliser, form);
    effects.setMasterLimiter(3, {true, -6}, form);
    EXPECT_TRUE(master.eqEnabled && master.limiterEnabled);
    EXPECT_EQ(*master.eqCoefficients.current(), coefficients48k(equaliser));
    EXPECT_EQ(master.limiterCeiling, limiterCeiling(-6));
    EXPECT_EQ(master.limiterGain, isFinal ? 1.0f : 0.5f);
    EXPECT_EQ(told, isFinal ? 2 : 0);
    EXPECT_EQ(effects.masterEQSettings.get()[3] == equaliser, isFinal);
    EXPECT_EQ(effects.masterLimiterSettings.get()[3] == (MasterLimiterSettings{true, -6}), isFinal);
    EXPECT_EQ(world->settings.data("sonmere.appEQSettings.__master__3").has_value(), isFinal);
    EXPECT_EQ(world->settings.data("sonmere.masterLimiterSettings.3").has_value(), isFinal);
  }
  EXPECT_FALSE(RoutingInsides(*world->engine).render.masters[4].eqEnabled);
}

TEST_F(BusOutputsTest, SpectraAreFedForAnOpenPanelWhileTheyAreShown) {
  begin();
  auto& effects = world->engine->effects();
  effects.setActiveEqualiser("music");
  EXPECT_FALSE(world->flags.spectrumWanted());
  effects.setSpectrumVisible(true);
  EXPECT_TRUE(world->flags.spectrumWanted());
  effects.setActiveEqualiser("");
  EXPECT_FALSE(world->flags.spectrumWanted());
  world->engine.reset();
  world->flags.spectrumVisible = false;
  world->startEngine();
  EXPECT_TRUE(world->flags.spectrumVisible) << "remembered";
}

TEST_F(BusOutputsTest, UnitsAskForTheFormatOfTheirBusAndItsDevice) {
  begin();
  world->host().setNominalRate("ToneFerry_UID", 96000);
  world->engine->setRouted("music", true);
  EXPECT_EQ(RoutingInsides(*world->engine).outputs.sampleRate(3), 96000) << "the bridge is the rate master";
  EXPECT_EQ(RoutingInsides(*world->engine).outputs.rateOrDefault(7), 96000);
  world->host().unplug("ToneFerry_UID");
  world->settle();
  EXPECT_EQ(RoutingInsides(*world->engine).outputs.rateOrDefault(7), 48000) << "without it";
}

TEST_F(BusOutputsTest, TheLatencyRowsFollowTheTaps) {
  begin();
  music.play(SampleSources::tone(440, 0.5f));
  world->engine->setRouted("music", true);
  RoutingInsides(*world->engine).activeTaps.at("music")->monitor.setEnabled(true);
  RoutingInsides(*world->engine).render.masters[3].monitor.setEnabled(true);
  world->wait(0.3);
  const auto rows = world->engine->latencyRings();
  ASSERT_EQ(rows.size(), 3u);
  EXPECT_EQ(rows[0].id, "route:music");
  EXPECT_GT(rows[0].reads, 10);
  EXPECT_EQ(rows[1].id, "monitor:music");
  EXPECT_EQ(rows[2].id, "monitor:master bus 3");
}

}  // namespace
}  // namespace sonmere
