#include <gtest/gtest.h>

#include <list>
#include <random>
#include <sstream>

#include "base/VirtualRuntime.h"
#include "control/ControlSession.h"
#include "support/AppWorld.h"
#include "support/ObservableOwner.h"

namespace sonmere {
namespace {

// What a client makes of snapshots and changes. It reads when it is told to.
struct Follower {
  // The whole of what it was sent, one message after the other.
  std::vector<ControlJSON> read() {
    const std::string text(session->output());
    session->sent(text.size());
    std::vector<ControlJSON> messages;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) messages.push_back(ControlJSON::parse(line));
    for (const ControlJSON& message : messages) take(message);
    return messages;
  }
  // Until nothing more comes.
  void readAll() {
    while (!read().empty()) {
    }
  }
  void take(const ControlJSON& message) {
    if (message.contains("result") && message["result"].contains("topics")) {
      for (const auto& item : message["result"]["topics"].items()) {
        values[item.key()] = TopicJSON(item.value()["value"]);
        versions[item.key()] = item.value()["version"];
      }
    } else if (message.value("method", "") == "changed") {
      const std::string topic = message["params"]["topic"];
      EXPECT_EQ(message["params"]["from"], versions[topic]) << topic;
      EXPECT_GT(message["params"]["version"], versions[topic]);
      versions[topic] = message["params"]["version"];
      values[topic].merge_patch(TopicJSON(message["params"]["patch"]));
    } else if (message.value("method", "") == "meters") {
      ++meters;
      spectrum = message["params"].value("spectrum", ControlJSON());
    }
  }
  void ask(const std::string& method, const ControlJSON& params) {
    session->receive(controlRequestText(1, method, params));
  }
  std::shared_ptr<ControlSession> session;
  std::map<std::string, TopicJSON> values;
  std::map<std::string, std::int64_t> versions;
  int meters = 0;
  ControlJSON spectrum;  // of the latest meters
};

// The service as the server runs it, without sockets.
struct TopicTest : testing::Test {
  TopicTest() {
    for (const char* id : {"org.music", "org.talk", "org.beat"}) world.launch(id);
    world.app->startUp();
    world.platform.embedded()->playAll();
    wait(1);
  }
  Follower& connect() {
    Follower& client = clients.emplace_back();
    client.session = std::make_shared<ControlSession>(world.runtime, control, methods, states);
    client.session->start([] {});
    return client;
  }
  Follower& connect(const std::vector<std::string>& topics) {
    Follower& client = connect();
    client.ask("subscribe", {{"topics", topics}});
    wait(0.01);
    client.read();
    return client;
  }
  void wait(double seconds) { world.runtime.advance(fromSeconds(seconds)); }

  AppWorld<VirtualRuntime> world{1};
  Control control{world.start(), world.platform, [] {}};
  ControlMethods methods{control};
  TopicStates states{control};
  std::list<Follower> clients;
  Subscription changes = control.changes().observe([this](const TopicSet& topics) {
    for (const Topic topic : topics) states.look(topic);
    for (Follower& client : clients) client.session->tellChanges();
  });
};

std::vector<std::string> allTopics() {
  std::vector<std::string> names;
  for (const Topic topic : kTopics) names.push_back(name(topic));
  return names;
}

TEST_F(TopicTest, AnActOfOneClientIsToldToEveryOtherAndToItselfOnceATurn) {
  Follower &actor = connect({"apps", "mixer"}), &other = connect({"apps"}), &stranger = connect({"devices"});
  const auto volume = [](Follower& client) {
    return client.values["apps"]["apps"]["org.talk"]["wishes"]["volume"];
  };
  for (const double value : {0.5, 0.6, 0.7}) actor.ask("volume", {{"app", "talk"}, {"volume", value}});
  actor.ask("mixer.master", {{"volume", 0.25}});
  actor.read();  // the answers
  wait(0.01);
  EXPECT_EQ(actor.read().size(), 2u) << "one a topic";
  EXPECT_EQ(volume(actor), 0.7);
  EXPECT_EQ(actor.values["mixer"]["wishes"]["masterVolume"], 0.25);
  const auto told = other.read();
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0]["params"]["patch"].dump(), R"({"apps":{"org.talk":{"wishes":{"volume":0.7}}}})");
  EXPECT_EQ(volume(other), 0.7);
  EXPECT_TRUE(stranger.read().empty());
  actor.ask("unsubscribe", {{"topics", {"apps"}}});
  actor.read();
  other.ask("volume", {{"app", "talk"}, {"volume", 1}});
  wait(0.01);
  EXPECT_TRUE(actor.read().empty());
}

TEST_F(TopicTest, ChangesThatNobodyAskedForAreToldToo) {
  Follower& client = connect({"apps", "devices", "recording", "mixer"});
  const auto apps = client.values["apps"]["order"].size();
  world.launch("org.late");
  world.platform.embedded()->playAll();
  wait(2);
  client.readAll();
  EXPECT_EQ(client.values["apps"]["order"].size(), apps + 1);
  EXPECT_EQ(client.values["apps"]["apps"]["org.late"]["facts"]["running"], true);
  world.app->appTapEngine()->setBus("org.late", 2);
  world.app->appTapEngine()->setRouted("org.late", true);
  wait(1);
  world.app->recordings()->startRecording(2);
  wait(1);
  client.readAll();
  EXPECT_EQ(client.values["apps"]["apps"]["org.late"]["facts"]["bus"], 2);
  EXPECT_TRUE(client.values["recording"]["facts"]["running"].contains("2"));
  world.app->volumeMixerEngine()->setEnabled(true);
  wait(1);
  client.readAll();
  EXPECT_EQ(client.values["mixer"]["wishes"]["enabled"], true);
  EXPECT_NE(client.values["mixer"]["facts"]["outputDevice"], "");
}

// What the microphone and a take come to by themselves.
TEST_F(TopicTest, TheMicrophoneAndASilentTakeAreTold) {
  Follower& client = connect({"input", "settings", "recording"});
  EXPECT_EQ(client.values["input"]["wishes"]["enabled"], false);
  world.app->micEngine()->setEnabled(true);
  wait(2);
  client.readAll();
  EXPECT_EQ(client.values["input"]["wishes"]["enabled"], true);
  EXPECT_TRUE(client.values["recording"]["facts"]["notices"].empty());
  ASSERT_TRUE(world.app->appTapEngine()->setBus("org.music", 4));
  ASSERT_TRUE(world.app->appTapEngine()->setRouted("org.music", true));
  world.app->appTapEngine()->setMuted("org.music", true);
  world.app->recordings()->startRecording(4);
  wait(60);
  client.readAll();
  EXPECT_FALSE(client.values["recording"]["facts"]["notices"].empty())
      << "a muted app is all that plays there";
}

TEST_F(TopicTest, TheRateOfADeviceAndTheNameOfATrackAreToldByThemselves) {
  Follower& client = connect({"devices", "mixer", "routing"});
  const auto rate = [&](const char* uid) { return client.values["devices"]["devices"][uid]["sampleRate"]; };
  EXPECT_EQ(rate("USBHeadset"), 48000.0);
  AudioHardware& hardware = world.platform.platform().hardware();
  ASSERT_EQ(hardware.setNominalSampleRate(*hardware.deviceForUID("USBHeadset"), 44100), 0);
  wait(0.1);
  client.readAll();
  EXPECT_EQ(rate("USBHeadset"), 44100.0);
  world.app->trackNames().setTrackName(3, "Drums");
  wait(0.1);
  client.readAll();
  EXPECT_EQ(client.values["routing"]["wishes"]["names"].dump(), R"({"3":"Drums"})");
}

// Where no client acted either: each value has somebody who tells of its change.
TEST_F(TopicTest, WhateverChangesByItselfIsToldInItsTopic) {
  ToneFerryApp& app = *world.app;
  AppTapEngine& routing = *app.appTapEngine();
  VolumeMixerEngine& mixer = *app.volumeMixerEngine();
  MicPassthroughEngine& mic = *app.micEngine();
  MonitorOutput& monitor = *app.monitorOutput();
  MixModeEngine& mix = *app.mixModeEngine();
  SystemAudioEngine& system = *app.systemAudioEngine();
  BusRecordings& recordings = *app.recordings();
  RecordingsLibrary& library = *app.recordingsLibrary();
  const AppEQSettings bright{.isEnabled = true, .paraGain = 3};
  const auto final = SettingForm::final;
  const std::vector<std::pair<std::set<std::string>, std::function<void()>>> acts = {
      {{"apps", "routing"}, [&] { routing.setRouted("org.talk", true); }},
      {{"routing"}, [&] { routing.saveProfile("evening"); }},
      {{"mixer", "settings"}, [&] { routing.setBoostAllowed(false); }},
      {{"effects"}, [&] { routing.effects().setAppEqualiser("org.talk", bright, final); }},
      {{"effects"},
       [&] {
         routing.effects().setAppLimiter("org.talk", {true, -6}, final);
       }},
      {{"effects"}, [&] { routing.effects().setMasterEqualiser(3, bright, final); }},
      {{"effects"},
       [&] {
         routing.effects().setMasterLimiter(3, {true, -6}, final);
       }},
      {{"apps", "mixer", "settings", "routes"}, [&] { mixer.setEnabled(true); }},
      {{"apps"}, [&] { mixer.setVolume("org.beat", 0.5f); }},
      {{"apps"}, [&] { mixer.setDirect("org.music", true); }},
      {{"mixer", "settings"}, [&] { mixer.setMasterVolume(0.5f); }},
      {{"mixer"}, [&] { mixer.setOutputEqualiser(bright); }},
      {{"mixer"}, [&] { ObservableOwner::set(mixer.errorMessage, "lost"); }},
      {{"input", "settings"}, [&] { mic.setEnabled(true); }},
      {{"input"}, [&] { mic.setVolume(0.5f); }},
      {{"input"}, [&] { ObservableOwner::set(mic.errorMessage, "lost"); }},
      {{"input"},
       [&] { ObservableOwner::set(mic.newlyAvailableInput, mic.devices().availableMics->back()); }},
      {{"monitor"}, [&] { mic.setHearMic(true); }},
      {{"monitor"}, [&] { mic.setMonitorVolume(0.5f); }},
      {{"monitor"}, [&] { routing.monitors().setMonitored("org.talk", true); }},
      {{"monitor"}, [&] { routing.monitors().setMasterMonitored(3, true); }},
      {{"monitor"}, [&] { routing.monitors().setMasterGain(3, 0.5f); }},
      {{"monitor"}, [&] { monitor.select("USBHeadset"); }},
      {{"monitor"}, [&] { ObservableOwner::set(monitor.errorMessage, "lost"); }},
      {{"monitor"}, [&] { app.context().monitors.setOn(false); }},
      {{"routes"}, [&] { ObservableOwner::set(app.routeRecovery().isResetting, true); }},
      {{"driver"}, [&] { ObservableOwner::set(app.driverManager().selectedSampleRate, 96000); }},
      {{"driver"}, [&] { ObservableOwner::set(app.driverManager().pathWarning, "elsewhere"); }},
      {{"driver"}, [&] { ObservableOwner::set(app.driverManager().isInstalled, false); }},
      {{"daw"}, [&] { app.dawAggregateEngine()->setEnabled(true); }},
      {{"daw"}, [&] { ObservableOwner::set(app.dawAggregateEngine()->errorMessage, "lost"); }},
      {{"mix"}, [&] { mix.setEnabled(true); }},
      {{"mix"}, [&] { mix.setIncludeSystemAudio(true); }},
      {{"mix"}, [&] { mix.setSystemAudioVolume(0.5f); }},
      {{"mix"}, [&] { mix.setPreviewStreamMix(true); }},
      {{"mix"}, [&] { mix.setHearDAWTracks(true); }},
      {{"mix"}, [&] { mix.setDAWTrackVolume(2, 0.5f); }},
      {{"mix"}, [&] { mix.setDAWTrackMuted(2, true); }},
      {{"system"}, [&] { ObservableOwner::set(system.errorMessage, "lost"); }},
      {{"system"}, [&] { ObservableOwner::set(system.followSystemDefault, !*system.followSystemDefault); }},
      {{"recording", "settings"}, [&] { app.dualMonoEngine()->setLayout(RecordingLayout::dualMono); }},
      {{"recording"}, [&] { recordings.startRecording(3); }},
      {{"recording"}, [&] { ObservableOwner::set(recordings.errorMessage, "lost"); }},
      {{"recording"}, [&] { ObservableOwner::set(recordings.fileNotice, "it has moved"); }},
      {{"recording"}, [&] { ObservableOwner::set(recordings.lossNotice, "frames are missing"); }},
      {{"settings"}, [&] { recordings.setDefaultRecordingFormat(RecordingFormat::m4a); }},
      {{"library"}, [&] { ObservableOwner::set(library.folderUnavailable, true); }},
      {{"library"}, [&] { ObservableOwner::set(library.isScanning, !*library.isScanning); }},
      {{"plugins"}, [&] { ObservableOwner::set(app.pluginChains().errorMessage, "lost"); }}};
  for (std::size_t i = 0; i < acts.size(); ++i) {
    wait(3);  // what the change before brought about is over
    Follower& client = connect(allTopics());
    acts[i].second();
    wait(0.05);
    std::set<std::string> told;
    for (const ControlJSON& message : client.read())
      if (message.value("method", "") == "changed") told.insert(message["params"]["topic"]);
    for (const std::string& topic : acts[i].first)
      EXPECT_TRUE(told.contains(topic)) << topic << ", change " << i;
    clients.clear();
  }
}

TEST_F(TopicTest, ASlowReaderIsToldTheNewestAndNoMoreThanThat) {
  Follower &slow = connect({"apps"}), &actor = connect();
  std::size_t most = 0;
  for (int i = 0; i < 300; ++i) {
    actor.ask("volume", {{"app", "talk"}, {"volume", i == 299 ? 0.5 : double(i) / 512}});
    wait(0.02);
    actor.read();
    most = std::max(most, slow.session->output().size());
  }
  EXPECT_LT(most, 500u) << "one change waits, whatever happens";
  EXPECT_EQ(slow.read().size(), 1u);
  EXPECT_EQ(slow.read().size(), 1u) << "from what it was told last to the newest";
  EXPECT_EQ(slow.values["apps"]["apps"]["org.talk"]["wishes"]["volume"], 0.5);
  EXPECT_TRUE(slow.read().empty());
}

TEST_F(TopicTest, MetersComeAtTheRateThatIsAskedForAndNoneWhileNothingMoves) {
  Follower& client = connect();
  client.ask("watch", {{"rate", 5}});
  wait(0.01);
  client.read();
  wait(3);
  client.read();
  EXPECT_LE(client.meters, 1) << "nothing is metered";
  client.ask("mixer.enable", {{"enabled", true}});
  client.read();
  client.meters = 0;
  for (int i = 0; i < 40; ++i) {
    wait(0.1);
    client.read();
  }
  EXPECT_GE(client.meters, 18);
  EXPECT_LE(client.meters, 22);
  client.ask("mixer.enable", {{"enabled", false}});
  wait(0.1);
  client.read();
  client.meters = 0;
  wait(5);
  client.read();
  EXPECT_LE(client.meters, 1) << "the end of it";
  client.ask("watch", {{"on", false}});
  client.ask("mixer.enable", {{"enabled", true}});
  client.read();
  client.meters = 0;
  wait(2);
  client.read();
  EXPECT_EQ(client.meters, 0);
}

TEST_F(TopicTest, ASpectrumIsFedAndToldWhileSomebodyLooksAtItAndWantsIt) {
  RenderFlags& flags = world.app->context().flags;
  Follower& client = connect();
  client.ask("mixer.enable", {{"enabled", true}});
  client.ask("route", {{"app", "beat"}, {"bus", 3}});
  client.ask("watch", {{"spectrum", "music"}});
  wait(1);
  client.readAll();
  EXPECT_TRUE(client.spectrum.is_null()) << "the user wants none";
  EXPECT_FALSE(flags.spectrumWanted());
  client.ask("settings.set", {{"key", "sonmere.eqSpectrumVisible"}, {"value", true}});
  for (const char* of : {"org.music", "org.beat", "bus 3", "output"}) {
    client.ask("watch", {{"spectrum", of}});
    for (int i = 0; i < 5; ++i) {
      wait(0.2);
      client.readAll();
    }
    ASSERT_EQ(client.spectrum.value("of", ""), of);
    ASSERT_EQ(client.spectrum["bandsDb"].size(), 128u) << of;
    double most = -120;
    for (const auto& band : client.spectrum["bandsDb"]) most = std::max(most, double(band));
    EXPECT_GT(most, -60) << of << " plays";
  }
  {
    Follower& other = connect();
    other.ask("watch", {{"spectrum", "talk"}});
    client.ask("watch", {{"on", false}});
    EXPECT_TRUE(flags.spectrumWanted()) << "another looks";
    other.ask("watch", {{"rate", 5}});
  }
  EXPECT_FALSE(flags.spectrumWanted()) << "levels alone";
}

// Whatever happens, what a client makes of the changes is what a fresh one is told.
TEST_F(TopicTest, AfterRandomActsTheChangesGiveWhatAFreshSnapshotGives) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    std::mt19937 random(seed);
    const auto pick = [&](int count) { return std::uniform_int_distribution(0, count - 1)(random); };
    Follower &follower = connect(allTopics()), &late = connect(allTopics()), &actor = connect();
    const char* const apps[] = {"org.music", "org.talk", "org.beat"};
    for (int i = 0; i < 120; ++i) {
      const std::string app = apps[pick(3)];
      const std::pair<const char*, ControlJSON> acts[] = {
          {"volume", {{"app", app}, {"volume", double(pick(5)) / 4}}},
          {"mute", {{"app", app}, {"toggle", true}}},
          {"route", {{"app", app}, {"bus", pick(3) == 0 ? ControlJSON(nullptr) : ControlJSON(2 + pick(3))}}},
          {pick(2) ? "hide" : "unhide", {{"app", app}}},
          {pick(2) ? "remove" : "unhide", {{"app", app}}},
          {pick(2) ? "pin" : "unpin", {{"app", app}}},
          {"direct", {{"app", app}, {"direct", pick(2) == 0}}},
          {"equaliser", {{"app", app}, {"equaliser", {{"bellDb", pick(9)}}}}},
          {"limiter", {{"app", app}, {"ceilingDb", pick(2) ? ControlJSON(nullptr) : ControlJSON(-pick(12))}}},
          {"mixer.enable", {{"enabled", pick(2) == 0}}},
          {"mixer.master", {{"step", pick(2) ? 0.25 : -0.25}}},
          {"mixer.boost", {{"allowed", pick(2) == 0}}},
          {pick(2) ? "record.start" : "record.stop", {{"bus", 2 + pick(3)}}},
          {pick(2) ? "profile.save" : "profile.delete", {{"name", std::string(1, char('a' + pick(3)))}}},
          {"settings.set", {{"key", "recording.format"}, {"value", pick(2) ? "wav" : "m4a"}}},
          {"bus.rename", {{"bus", 2 + pick(3)}, {"name", pick(2) ? app : ""}}},
          {"settings.reset", {{"key", "sonmere.boostAllowed"}}}};
      const auto& [method, params] = acts[pick(int(std::size(acts)))];
      actor.ask(method, params);
      wait(0.02 * pick(20));
      actor.read();
      if (pick(2)) follower.read();
    }
    wait(10);
    follower.readAll();
    late.readAll();
    Follower& fresh = connect(allTopics());
    for (const std::string& topic : allTopics()) {
      EXPECT_EQ(follower.values[topic], fresh.values[topic]) << topic << ", seed " << seed;
      EXPECT_EQ(late.values[topic], fresh.values[topic]) << topic << ", seed " << seed;
      EXPECT_EQ(late.versions[topic], fresh.versions[topic]) << topic;
    }
    clients.clear();
  }
}

TEST(MergePatch, GivesTheOtherValueForAnyTwo) {
  std::mt19937 random(3);
  const auto pick = [&](int count) { return std::uniform_int_distribution(0, count - 1)(random); };
  const std::function<TopicJSON(int)> any = [&](int depth) -> TopicJSON {
    if (depth == 0 || pick(3) == 0) return pick(2) ? TopicJSON(pick(3)) : TopicJSON{pick(2), "x"};
    TopicJSON object = TopicJSON::object();
    for (int i = pick(4); i > 0; --i) object[std::string(1, char('a' + pick(4)))] = any(depth - 1);
    return object;
  };
  for (int i = 0; i < 2'000; ++i) {
    const TopicJSON from = any(3), to = any(3);
    TopicJSON patched = from;
    patched.merge_patch(mergePatch(from, to));
    EXPECT_EQ(patched, to) << from << " to " << to;
  }
}

}  // namespace
}  // namespace sonmere
