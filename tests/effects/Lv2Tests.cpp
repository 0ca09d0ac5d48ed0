#include <gtest/gtest.h>
#include <lilv/lilv.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#include "audio/effects/IsolatedRun.h"
#include "audio/effects/PluginChains.h"
#include "base/LiveRuntime.h"
#include "base/Published.h"
#include "base/RenderRetirement.h"
#include "platform/effects/Lv2EffectsHost.h"
#include "platform/effects/ProcessChainHelper.h"
#include "support/RealtimeGuard.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

// A sanitizer in the helper would make an ordinary exit of a crash.
[[maybe_unused]] const bool crashesAreLeftAlone = [] {
  for (const char* name : {"ASAN_OPTIONS", "TSAN_OPTIONS"}) {
    const char* const given = std::getenv(name);
    setenv(name, ((given ? std::string(given) + ":" : "") + "handle_segv=0").c_str(), 1);
  }
  return true;
}();

constexpr const char* kTrouble = "urn:sonmere-test:trouble";

// The system's plug-ins beside the test's own.
void useBundles(bool systemToo) {
  setenv("LV2_PATH", (std::string(SONMERE_BUNDLES) + (systemToo ? ":/usr/lib/lv2" : "")).c_str(), 1);
}

struct Lv2Test : testing::Test {
  explicit Lv2Test(bool systemToo = false) {
    useBundles(systemToo);
    setenv("XDG_STATE_HOME", folder.path().c_str(), 1);
    host = std::make_unique<Lv2EffectsHost>(
        runtime, log,
        Lv2EffectsHost::Options{SONMERE_EFFECTS, (folder / "cache.json").string(),
                                (folder / "files").string()});
  }

  // Turns the main queue until it holds; a step that never comes fails here.
  bool turnUntil(const std::function<bool()>& holds, double seconds = 20) {
    const Duration end = runtime.uptime() + fromSeconds(seconds);
    while (!holds() && runtime.uptime() < end) {
      pollfd wake{runtime.mainQueueDescriptor(), POLLIN, 0};
      poll(&wake, 1, 2);  // the audio thread wakes nobody
      runtime.runDue();
    }
    return holds();
  }
  template <class T>
  Outcome<T> wait(const std::function<void(std::function<void(Outcome<T>)>)>& ask, double seconds = 20) {
    std::optional<Outcome<T>> answer;
    ask([&](Outcome<T> got) { answer = std::move(got); });
    turnUntil([&] { return answer.has_value(); }, seconds);
    return answer.value_or(std::unexpected(Error{"Test", 0, "no answer"}));
  }
  Outcome<EffectDetails> describe(const std::string& id) {
    return wait<EffectDetails>([&](auto done) { host->describe(id, done); });
  }
  Outcome<std::optional<std::string>> attempt(const std::string& id) {
    return wait<std::optional<std::string>>([&](auto done) { host->test(id, done); }, 60);
  }

  TemporaryFolder folder;
  LiveRuntime runtime;
  Log log;
  std::unique_ptr<Lv2EffectsHost> host;
};

TEST_F(Lv2Test, DescriptionsSayWhatAUserSets) {
  const auto details = describe(kTrouble);
  ASSERT_TRUE(details) << details.error().description;
  EXPECT_EQ(details->effect.name, "Trouble");
  EXPECT_EQ(details->effect.manufacturer, "Sonmere");
  EXPECT_EQ(details->effect.category, "") << "the classes are in another bundle";
  EXPECT_EQ(details->effect.obstacle, "");
  ASSERT_EQ(details->controls.size(), 2u);
  EXPECT_EQ(details->controls[0].symbol, "gain");
  EXPECT_EQ(details->controls[0].maximum, 4.0f);
  EXPECT_TRUE(details->controls[1].isInteger);
  ASSERT_EQ(details->controls[1].points.size(), 4u);
  EXPECT_EQ(details->controls[1].points[1].label, "crash");
  ASSERT_EQ(details->presets.size(), 1u);
  EXPECT_EQ(details->presets[0].name, "Half");
  EXPECT_EQ(describe("urn:nobody").error().description, "there is no plug-in \"urn:nobody\"");
  EXPECT_EQ(describe("urn:sonmere-test:demanding")->effect.obstacle,
            "it needs what this host has not: urn:sonmere-test:moon");
}

TEST_F(Lv2Test, AListIsReadOnceAndAgainWhenAFileHasChanged) {
  const auto list = [&] {
    return wait<std::vector<AvailableEffect>>([&](auto done) { host->availableEffects(done); });
  };
  const auto first = list();
  ASSERT_TRUE(first) << first.error().description;
  ASSERT_EQ(first->size(), 4u);
  EXPECT_EQ((*first)[0].name, "Brittle");
  // What is kept is believed.
  std::ifstream in(folder / "cache.json");
  std::string cache(std::istreambuf_iterator<char>(in), {});
  const auto at = cache.find("\"Brittle\"");
  ASSERT_NE(at, std::string::npos);
  cache.replace(at, 9, "\"Another\"");
  std::ofstream(folder / "cache.json") << cache;
  EXPECT_EQ((*list())[0].name, "Another");
  const auto stamp = cache.find((*first)[0].fileStamp);
  std::ofstream(folder / "cache.json") << cache.replace(stamp, 1, "9");
  EXPECT_NE(list()->size(), 0u);
  std::ofstream(folder / "cache.json") << "{ damaged";
  EXPECT_EQ((*list())[0].name, "Brittle");
}

// In this process: the effect itself, its values, its state and its worker.
TEST_F(Lv2Test, AnEffectRunsAndComesBackWithItsState) {
  std::vector<float> left(256), right(256), outLeft(256), outRight(256);
  for (std::size_t i = 0; i < 256; ++i) left[i] = std::sin(float(i)), right[i] = -left[i];
  const float* const in[2] = {left.data(), right.data()};
  float* const out[2] = {outLeft.data(), outRight.data()};
  auto effect = host->instantiate(kTrouble, 48000, "");
  ASSERT_TRUE(effect) << effect.error().description;
  EXPECT_TRUE((*effect)->setControl("gain", 9));
  EXPECT_FALSE((*effect)->setControl("nothing", 9));
  EXPECT_EQ((*effect)->values().at("gain"), 4.0f) << "held to its range";
  for (int i = 0; i < 3; ++i) EXPECT_EQ((*effect)->render(0, 256, in, out), noErr);
  for (std::size_t i = 0; i < 256; ++i) ASSERT_EQ(outRight[i], right[i] * 4);
  EXPECT_DOUBLE_EQ((*effect)->latency(), 7.0 / 48000);
  const auto state = (*effect)->fullState();
  ASSERT_TRUE(state) << state.error().description;
  EXPECT_NE(state->find("secret"), std::string::npos) << *state;
  const auto again = host->instantiate(kTrouble, 44100, *state);
  ASSERT_TRUE(again) << again.error().description;
  EXPECT_EQ((*again)->values().at("gain"), 4.0f);
  (*again)->render(0, 256, in, out);
  EXPECT_NE(*(*again)->fullState(), *state) << "a fourth run is counted on";
  EXPECT_NE((*again)->fullState()->find("4"), std::string::npos);

  const auto preset = wait<std::string>([&](auto done) { host->presetState(kTrouble, "Half", done); });
  ASSERT_TRUE(preset) << preset.error().description;
  const auto half = host->instantiate(kTrouble, 48000, *preset);
  ASSERT_TRUE(half) << half.error().description;
  EXPECT_EQ((*half)->values().at("gain"), 0.5f);

  const auto mono = host->instantiate("urn:sonmere-test:mono", 48000, "");
  ASSERT_TRUE(mono) << mono.error().description;
  (*mono)->setControl("gain", 2);
  (*mono)->render(0, 256, in, out);
  EXPECT_EQ(outLeft[5], left[5] * 2);
  EXPECT_EQ(outRight[5], right[5] * 2);

  EXPECT_EQ(host->instantiate(kTrouble, 48000, "not a state").error().description, "its state can't be read");
  EXPECT_EQ(host->instantiate("urn:sonmere-test:mono", 48000, *state).error().description,
            "its state is that of \"urn:sonmere-test:trouble\"");
}

TEST_F(Lv2Test, ATrialFindsWhatWouldTakeTheSoundDown) {
  EXPECT_EQ(*attempt(kTrouble), std::nullopt);
  EXPECT_EQ(*attempt("urn:sonmere-test:brittle"), "it crashes (signal 11)");
  EXPECT_EQ(*attempt("urn:sonmere-test:demanding"), "it needs what this host has not: urn:sonmere-test:moon");
}

// Whatever ends the program, its end of the socket closes.
TEST_F(Lv2Test, AHelperEndsWithItsParent) {
  const FileDescriptor memory(memfd_create("test", MFD_CLOEXEC));
  ASSERT_EQ(ftruncate(memory.get(), sizeof(SharedChain)), 0);
  auto process = HelperProgram(SONMERE_EFFECTS).start({"chain"}, memory.get());
  ASSERT_TRUE(process) << process.error().description;
  process->socket = FileDescriptor();
  int status = -1;
  EXPECT_EQ(waitpid(process->pid, &status, 0), process->pid);
  EXPECT_EQ(status, 0);
}

// A quit does not wait for a plug-in that is tried, nor for a long list.
TEST_F(Lv2Test, TheHostsEndAnswersWhoeverWaits) {
  HelperProgram program(SONMERE_EFFECTS);
  program.stopAsking();
  const auto answer = program.ask({"list", ""}, fromSeconds(60));
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->end, "hangs");
}

// A chain in a real process, rendered as a callback does it: every 2 ms a block of ones.
struct Lv2ChainTest : Lv2Test {
  explicit Lv2ChainTest(bool systemToo = false) : Lv2Test(systemToo) {
    chains = std::make_unique<PluginChains>(runtime, log, settings, host.get());
    retirement.addReader(reader);
    PluginChains::Places places;
    places[scope] = {48000, this, [this](std::shared_ptr<const PluginChainSnapshot> next) {
                       published.publish(std::move(next), retirement, PluginChainSnapshot::kGrace);
                     }};
    chains->setPlaces("test", std::move(places));
  }
  ~Lv2ChainTest() override {
    cycles.reset();
    chains.reset();
  }
  void play() {
    cycles = runtime.startCycles("render", runtime.uptime(), [this](Duration deadline) {
      cycle();
      return std::max(deadline + fromMilliseconds(2), runtime.uptime());
    });
  }
  void cycle() {
    const RealtimeScope realtime;
    const RenderReader::Block inside(*reader);
    std::array<float, 256> block;
    block.fill(1.0f);
    if (const PluginChainSnapshot* chain = published.load()) chain->render(block.data(), 128);
    last.store(block[255]);
    for (const float sample : block)
      if (sample != 1.0f && sample != 0.5f) strange.add(1);
    count.storeRelease(count.loadRelaxed() + 1);
  }
  bool add(const std::string& id) {
    return bool(wait<EffectDetails>([&](auto done) { chains->add(scope, id, std::nullopt, done); }));
  }
  PluginChain& chain() { return chains->chain(scope); }
  bool isWet() {
    return turnUntil([&] { return last.load() == 0.5f; });
  }

  RealtimeGuard guard;
  MemorySettingsStore settings;
  RenderRetirement retirement{runtime};
  std::shared_ptr<RenderReader> reader = std::make_shared<RenderReader>();
  Published<const PluginChainSnapshot> published;
  PluginScope scope = PluginScope::ofApp("org.music");
  std::unique_ptr<PluginChains> chains;
  RTScalar<float> last{0};
  RTScalar<std::int64_t> strange{0};
  RTPosition count;
  std::unique_ptr<CycleClock> cycles;
};

TEST_F(Lv2ChainTest, ACrashedHelperIsHeardDryAndStartedAgain) {
  ASSERT_TRUE(add(kTrouble));
  chain().setControl(0, "gain", 0.5f);
  play();
  ASSERT_TRUE(isWet());
  chain().setControl(0, "trouble", 1);
  ASSERT_TRUE(turnUntil([&] { return chains->errorMessage->has_value(); }));
  EXPECT_EQ(**chains->errorMessage,
            "\"Trouble\" on app:org.music has crashed (signal 11); it is started again");
  chain().setControl(0, "trouble", 0);
  EXPECT_TRUE(isWet());
  chain().setControl(0, "trouble", 2);
  ASSERT_TRUE(turnUntil(
      [&] { return chains->errorMessage->value_or("").find("does not answer") != std::string::npos; }));
  chain().setControl(0, "trouble", 0);
  EXPECT_TRUE(isWet());
  EXPECT_EQ(strange, 0) << "what was heard is wet or dry, never silence";
  EXPECT_REALTIME_SAFE(guard);
}

// What does not come from its number is heard dry, and the chain that can't be used bypasses itself.
TEST_F(Lv2ChainTest, TrustedInTheProgramItRunsWithoutDelay) {
  ASSERT_TRUE(add(kTrouble));
  chain().setControl(0, "gain", 0.5f);
  play();
  ASSERT_TRUE(isWet());
  EXPECT_TRUE(turnUntil([&] { return chain().latencyFrames() == 128 + 7; }));
  chain().setTrusted(true);
  ASSERT_TRUE(turnUntil(
      [&] { return chain().state() == PluginChain::State::running && chain().latencyFrames() == 7; }));
  EXPECT_TRUE(isWet());
  EXPECT_EQ(strange, 0);
  EXPECT_REALTIME_SAFE(guard);
}

// The file of a plug-in goes while it is loaded: it sounds on. When its process dies too, the sound goes on
// dry and the chain is kept until the file is back.
TEST_F(Lv2ChainTest, AFileThatIsDeletedIsMissedOnlyOnceItIsNeededAgain) {
  const auto bundles = folder / "lv2";
  std::filesystem::copy(SONMERE_BUNDLES, bundles, std::filesystem::copy_options::recursive);
  setenv("LV2_PATH", bundles.c_str(), 1);
  ASSERT_TRUE(add(kTrouble));
  chain().setControl(0, "gain", 0.5f);
  play();
  ASSERT_TRUE(isWet());
  const auto file = bundles / "trouble.lv2" / "trouble.so", away = folder / "away.so";
  std::filesystem::rename(file, away);
  const std::int64_t now = count.loadAcquire();
  EXPECT_TRUE(turnUntil([&] { return count.loadAcquire() > now + 20; }));
  EXPECT_EQ(last.load(), 0.5f) << "what is loaded sounds on";
  chain().setControl(0, "trouble", 1);
  EXPECT_TRUE(turnUntil([&] { return chain().state() == PluginChain::State::idle; }))
      << chains->errorMessage->value_or("");
  EXPECT_TRUE(turnUntil([&] { return last.load() == 1.0f; }));
  EXPECT_NE(chain().plugins()[0].problem, "");
  EXPECT_EQ(PluginChainStore::load(settings, scope)[0].values.at("gain"), 0.5f);
  std::filesystem::rename(away, file);
  chain().setControl(0, "trouble", 0);
  chain().setBypassed(0, true);
  chain().setBypassed(0, false);
  chain().move(0, 0);
  EXPECT_TRUE(isWet()) << chain().plugins()[0].problem;
  EXPECT_EQ(strange, 0);
}

int openFiles() {
  int files = 0;
  for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator("/proc/self/fd")) ++files;
  return files;
}

// The process is killed at random moments: each block is wet or dry, and nothing of the dead stays.
TEST_F(Lv2ChainTest, KillsAtRandomMomentsAreNeverHeardAsSilence) {
  const char* const asked = std::getenv("SONMERE_KILLS");
  const int kills = asked ? std::atoi(asked) : 12;
  std::mt19937 random{7};
  int filesBefore = 0;
  for (int kill = 0; kill < kills; ++kill) {
    auto helper = host->startHelper();
    ASSERT_TRUE(helper) << helper.error().description;
    const pid_t process = static_cast<ProcessChainHelper&>(**helper).process();
    IsolatedRun run(runtime, std::move(*helper));
    std::string reason;
    run.failed = [&](const std::string& why, int) { reason = why; };
    bool isPlanned = false;
    run.apply({48000, {{1, kTrouble, "", {{"gain", 0.5f}}, false}}}, [&](const auto&) { isPlanned = true; });
    ASSERT_TRUE(turnUntil([&] { return isPlanned; }));
    published.publish(run.snapshot(), retirement, PluginChainSnapshot::kGrace);
    if (!cycles) play();
    const auto from = count.loadAcquire();
    const auto blocks = 5 + std::int64_t(random() % 20);
    ASSERT_TRUE(turnUntil([&] { return count.loadAcquire() > from + blocks; }));
    ASSERT_EQ(::kill(process, SIGKILL), 0);
    ASSERT_TRUE(turnUntil([&] { return !reason.empty(); }));
    EXPECT_EQ(reason, "was killed");
    EXPECT_EQ(::kill(process, 0), -1) << "no zombie";
    const auto then = count.loadAcquire();
    ASSERT_TRUE(turnUntil([&] { return count.loadAcquire() > then + 3; }));
    EXPECT_EQ(last.load(), 1.0f);
    published.publish(nullptr, retirement, PluginChainSnapshot::kGrace);
    if (kill == 1) filesBefore = openFiles();
  }
  EXPECT_EQ(openFiles(), filesBefore);
  EXPECT_EQ(strange, 0);
  EXPECT_TRUE(turnUntil([&] { return retirement.pendingCount() == 0; }));
  EXPECT_REALTIME_SAFE(guard);
}

}  // namespace
}  // namespace sonmere
