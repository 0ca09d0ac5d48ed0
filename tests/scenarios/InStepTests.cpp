// The files of a session lie on one line, and stay there as far as the clocks of their devices do.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <deque>
#include <map>
#include <set>

#include "LayoutWorld.h"
#include "audio/file/AudioFileWriter.h"

namespace sonmere {
namespace {

constexpr double kRate = 48000;  // of the bridge and of all files

// Single samples at instants of the machine's time, at whatever rate and in whatever cycle they fall.
class ImpulsesAt final : public SampleSource {
 public:
  // From `first` on, `every` so often.
  ImpulsesAt(Runtime& runtime, Duration first, Duration every)
      : runtime_(runtime), first_(first), every_(every) {}
  void setSampleRate(double rate) override { rate_ = rate; }
  std::uint32_t render(float* stereo, std::uint32_t frames) override {
    std::fill_n(stereo, 2 * std::size_t(frames), 0.0f);
    const Duration now = runtime_.uptime();
    const auto passed = std::max<std::int64_t>((now - first_) / every_, 0);
    for (const Duration at : {first_ + passed * every_, first_ + (passed + 1) * every_}) {
      const auto frame = std::llround(toSeconds(at - now) * rate_);
      if (frame >= 0 && frame < std::int64_t(frames)) stereo[2 * frame] = stereo[2 * frame + 1] = 0.5f;
    }
    return frames;
  }

 private:
  Runtime& runtime_;
  const Duration first_, every_;
  double rate_ = 48000;
};

std::ptrdiff_t impulseIn(const File& file) {
  const auto left = file.left();
  const auto loudest = std::ranges::max_element(left, {}, [](float sample) { return std::abs(sample); });
  return loudest == left.end() || std::abs(*loudest) < 0.1f ? -1 : loudest - left.begin();
}

// Wherever the cycles of their devices stand when the take begins, its files begin at one instant: what is
// captured at another lies at that frame in each of them. The ways to the bridge and to a Track take their
// time, the same in every take.
TEST(InStep, TheFilesOfASessionBeginAtOneInstant) {
  std::set<std::ptrdiff_t> bridgeDelays, trackDelays;
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    LayoutWorld world(seed);
    const Duration at = world.runtime.uptime() + fromSeconds(4.0);
    const auto impulse = [&] {
      return std::make_unique<ImpulsesAt>(world.runtime, at, std::chrono::hours(1));
    };
    world.startMic(impulse);
    world.mic->extras().add("Second", 1);
    auto heard = world.launch("org.heard");
    heard.play(impulse());
    auto onBridge = world.launch("org.bridge");
    onBridge.setDevice(kBridgeUID);
    onBridge.play(impulse());
    auto routed = world.launch("org.routed");
    routed.play(impulse());
    world.settle();
    ASSERT_TRUE(world.engine->setBus("org.routed", 2) && world.engine->setRouted("org.routed", true));
    world.wait(1 + 0.0037 * double(seed));
    const int buses[] = {kBridgeBus, 2};
    world.recordings->startRecordings(buses);
    ASSERT_EQ(*world.recordings->errorMessage, "");
    const double expected = (toSeconds(at - world.runtime.uptime()) - 0.05) * kRate;
    world.wait(5);
    const auto files = world.stop();
    ASSERT_EQ(files.size(), 5u);
    for (const char* name : {"Mic", "Apps", "Mic \u2014 Second"})
      EXPECT_NEAR(double(impulseIn(files.at(name))), expected, 1) << name << ", seed " << seed;
    bridgeDelays.insert(impulseIn(files.at("Master")) - std::ptrdiff_t(std::llround(expected)));
    trackDelays.insert(impulseIn(files.at("Track 1")) - std::ptrdiff_t(std::llround(expected)));
  }
  EXPECT_LE(*bridgeDelays.rbegin() - *bridgeDelays.begin(), 1) << *bridgeDelays.begin();
  EXPECT_GE(*bridgeDelays.begin(), -1);
  EXPECT_LE(*bridgeDelays.rbegin(), 512) << "one cycle of the device";
  EXPECT_GE(*trackDelays.begin(), -1);
  EXPECT_LE(*trackDelays.rbegin(), 4800) << "the backlog of an app's ring";
}

// Where the impulses of a long take lie, and nothing else of it.
class ImpulseFile final : public AudioFileWriter {
 public:
  ImpulseFile(std::string path, const AudioFileSettings& settings)
      : path_(std::move(path)), format_{settings.sampleRate, settings.channels} {}

  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return path_; }
  Outcome<void> write(const PCMBuffer& buffer) override {
    for (std::uint32_t i = 0; i < buffer.frameLength(); ++i) take(std::abs(buffer.channel(0)[i]), frames + i);
    frames += buffer.frameLength();
    return {};
  }
  Outcome<void> close() override { return {}; }

  std::vector<std::int64_t> impulses;
  std::int64_t frames = 0;

 private:
  // A converter makes more of one than a sample, and what plays elsewhere comes to the apps' file later.
  void take(float sample, std::int64_t frame) {
    if (sample < 0.1f) return;
    if (impulses.empty() || frame - impulses.back() > 24000) {
      impulses.push_back(frame);
      loudest_ = sample;
    } else if (sample > loudest_) {
      impulses.back() = frame;
      loudest_ = sample;
    }
  }

  const std::string path_;
  const PCMFormat format_;
  float loudest_ = 0;
};

struct Clocks {
  double micRate = 48000;
  double micPpm = 0, speakersPpm = 0;
};

// A session of the bridge, the microphone, the apps and all eight Tracks, one app on each.
struct SessionOfEleven {
  static constexpr Duration kEvery = std::chrono::seconds(5);

  explicit SessionOfEleven(const Clocks& clocks)
      : world(3, [this](const std::string& path, const AudioFileSettings& settings) {
          auto file = std::make_shared<ImpulseFile>(path, settings);
          const std::string name = std::filesystem::path(path).filename().string();
          if (const auto parts = parseRecordingName(name))
            files[std::string(recordingDisplayName(parts->name))] = file;
          return Outcome<std::shared_ptr<AudioFileWriter>>(file);
        }) {
    SimulatedDeviceDescription speakers;
    speakers.uid = speakers.name = "Speakers";
    speakers.clockErrorPpm = clocks.speakersPpm;
    world.host().plug(speakers);
    world.host().setDefault(DefaultDevice::output, "Speakers");
    const Duration first = world.runtime.uptime() + std::chrono::seconds(10);
    const auto impulses = [this, first] {
      return std::make_unique<ImpulsesAt>(world.runtime, first, kEvery);
    };
    world.startMic(impulses, clocks.micRate, clocks.micPpm);
    play("org.bridge", impulses()).setDevice(kBridgeUID);
    for (int bus = 2; bus <= 9; ++bus) {
      const std::string id = "org.track" + std::to_string(bus - 1);
      play(id, impulses());
      world.settle();
      EXPECT_TRUE(world.engine->setBus(id, bus) && world.engine->setRouted(id, true));
    }
    world.wait(2);
    const int buses[] = {kBridgeBus, 2, 3, 4, 5, 6, 7, 8, 9};
    world.recordings->startRecordings(buses);
    EXPECT_EQ(*world.recordings->errorMessage, "");
    EXPECT_EQ(files.size(), 11u);
    firstFrame = (toSeconds(first - world.runtime.uptime()) - 0.05) * kRate;
  }
  SimulatedApp& play(const std::string& id, std::unique_ptr<SampleSource> source) {
    apps.push_back(world.launch(id));
    apps.back().play(std::move(source));
    return apps.back();
  }
  // How far behind its instant the impulse of that number lies, in frames.
  double offset(const std::string& name, std::size_t number) const {
    const auto& impulses = files.at(name)->impulses;
    if (number >= impulses.size()) return 1e9;
    return double(impulses[number]) - firstFrame - double(number) * toSeconds(kEvery) * kRate;
  }
  std::size_t impulses() const {
    std::size_t least = 1'000'000'000;
    for (const auto& [name, file] : files) least = std::min(least, file->impulses.size());
    return least;
  }

  std::map<std::string, std::shared_ptr<ImpulseFile>> files;
  LayoutWorld world;
  std::deque<SimulatedApp> apps;
  double firstFrame = 0;
};

// Hours of the take; a whole one takes minutes.
double hours() {
  const char* asked = std::getenv("SONMERE_STEP_HOURS");
  return asked ? std::max(0.01, std::atof(asked)) : 0.01;
}

struct Range {
  double least = 1e9, most = -1e9;
};

// SONMERE_STEP_HOURS=10 for a long take; prints where the impulses lay.
class LongTake : public testing::TestWithParam<Clocks> {};

// The server's clock is that of the bridge and of the Tracks. What a device captures runs on the device's
// own, and nothing brings it back; what is rendered into a Track stays within the ring on its way there.
TEST_P(LongTake, StaysOnItsLineAsFarAsItsClocksDo) {
  const Clocks& clocks = GetParam();
  SessionOfEleven session(clocks);
  session.world.wait(hours() * 3600 + 1);
  const std::size_t count = session.impulses();
  ASSERT_GE(double(count), hours() * 3600 / 5 - 3);
  std::map<std::string, Range> offsets;
  for (const auto& [name, file] : session.files) {
    Range& range = offsets[name];
    for (std::size_t i = 0; i < count; ++i) {
      const double offset = session.offset(name, i);
      const double ppm = name == "Mic" ? clocks.micPpm : name == "Apps" ? clocks.speakersPpm : 0;
      const double drifted = double(file->impulses[i]) * ppm * 1e-6;
      range.least = std::min(range.least, offset - drifted);
      range.most = std::max(range.most, offset - drifted);
    }
    if (std::getenv("SONMERE_STEP_HOURS"))
      std::printf("%-8s %7.1f frames behind at first, %9.1f after %.2f h; without its clock %.1f to %.1f\n",
                  name.c_str(), session.offset(name, 0), session.offset(name, count - 1), hours(),
                  range.least, range.most);
  }
  for (const char* name : {"Master", "Mic", "Apps"}) {
    const double most = clocks.micRate == kRate ? 1.5 : 2;
    EXPECT_GE(offsets.at(name).least, -most) << name;
    EXPECT_LE(offsets.at(name).most, most) << name;
  }
  for (int track = 1; track <= 8; ++track) {
    const Range& range = offsets.at("Track " + std::to_string(track));
    EXPECT_GE(range.least, -1) << track;
    EXPECT_LE(range.most, clocks.speakersPpm > 0 ? 24000 + 512 : 512) << track << ": all of its ring at most";
    if (clocks.speakersPpm == 0) {
      EXPECT_LE(range.most - range.least, 1) << track;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Clocks, LongTake,
                         testing::Values(Clocks{}, Clocks{44100}, Clocks{48000, 100, 0},
                                         Clocks{48000, 50, -50}, Clocks{96000, -50, 50}));

}  // namespace
}  // namespace sonmere
