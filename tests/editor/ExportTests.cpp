#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <barrier>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <numbers>
#include <thread>

#include "AudioFiles.h"
#include "audio/file/SampleEncoder.h"
#include "base/SettingsStore.h"
#include "base/VirtualRuntime.h"
#include "editor/export/ExportWriter.h"
#include "editor/export/LoudnessGain.h"
#include "editor/export/LoudnessMeter.h"
#include "editor/export/MP3Encoder.h"
#include "editor/export/SessionExporter.h"
#include "editor/export/SessionMix.h"
#include "editor/export/SourceBitDepth.h"
#include "editor/export/TrackLevel.h"
#include "editor/export/UnfinishedFile.h"
#include "editor/track/FadeGain.h"
#include "editor/track/TrackReader.h"
#include "support/SizeLimit.h"

namespace sonmere {
namespace {

namespace fs = std::filesystem;

// Races show by their number; more of them are run by hand.
int rounds() {
  const char* count = std::getenv("SONMERE_ROUNDS");
  return count ? std::atoi(count) : 20;
}

constexpr ExportFormat kMP3{ExportFormat::Kind::mp3, MP3Bitrate::kbps192};

class ExportTest : public testing::Test {
 protected:
  ExportTest() {
    log.addSink([this](LogLevel, const std::string& line) { lines.push_back(line); });
  }
  std::string path(const std::string& name) const { return (folder / name).string(); }
  std::string wav(const std::string& name, std::size_t frames, int channels = 2, unsigned seed = 1,
                  int rate = 48000, int encoding = SF_FORMAT_FLOAT) {
    return makeAudioFile(path(name), SF_FORMAT_WAV | encoding, rate, channels,
                         noise(frames * std::size_t(channels), seed, 0.7f));
  }
  std::string tone(const std::string& name, double hertz, double seconds, int channels = 2,
                   int rate = 48000) {
    std::vector<float> samples(std::size_t(seconds * rate) * std::size_t(channels));
    for (std::size_t i = 0; i < samples.size(); ++i)
      samples[i] =
          float(0.5 * std::sin(2 * std::numbers::pi * hertz * double(i / std::size_t(channels)) / rate));
    return makeAudioFile(path(name), SF_FORMAT_WAV | SF_FORMAT_FLOAT, rate, channels, samples);
  }
  static MixTrackInput whole(const std::string& url) {
    const auto input = wholeFile(url);
    EXPECT_TRUE(input) << input.error().description;
    return input ? *input : MixTrackInput{};
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder.path())) found.push_back(entry.path().filename());
    std::ranges::sort(found);
    return found;
  }

  TemporaryFolder folder;
  VirtualRuntime runtime{1};
  Log log;
  std::vector<std::string> lines;
  SessionExporter exporter{log};
  ExportProgress progress{runtime};
  const SessionExporter::Options floats{.depth = RecordingBitDepth::float32};
};

TEST_F(ExportTest, TheFormatIsKeptByName) {
  MemorySettingsStore settings;
  EXPECT_EQ(exportFormat(settings), ExportFormat{});
  for (const ExportFormat& format : allExportFormats()) {
    setExportFormat(settings, format);
    EXPECT_EQ(exportFormat(settings), format);
  }
  setExportFormat(settings, {ExportFormat::Kind::mp3, MP3Bitrate::kbps320});
  EXPECT_EQ(settings.string("editor.exportFormat"), "mp3-320");
  for (const char* unreadable : {"mp3-999", "mp3", "WAV", ""}) {
    settings.set("editor.exportFormat", std::string(unreadable));
    EXPECT_EQ(exportFormat(settings), ExportFormat{}) << unreadable;
  }
}

// Block sizes must not show; the curve is recomputed here frame by frame.
TEST_F(ExportTest, FadesAndGainAreTheSameInBlocksOfAnySize) {
  constexpr std::int64_t kLength = 3000;
  for (const auto& [in, out, gain] : {std::tuple{1000, 700, 0.5f},
                                      {2500, 2000, 1.0f},
                                      {1, 0, 1.0f},
                                      {0, 1, 2.0f},
                                      {0, 0, 0.25f},
                                      {3000, 3000, 1.0f},
                                      {0, 0, 1.0f}}) {
    TrimRange range = TrimRange::whole(kLength, 48000);
    range.fadeInFrames = in;
    range.fadeOutFrames = out;
    range.gainLinear = gain;
    for (const std::uint32_t blockFrames : {1u, 37u, 512u, 3000u}) {
      const auto samples = noise(kLength, 3);
      for (std::int64_t offset = 0; offset < kLength; offset += blockFrames) {
        PCMBuffer block({48000, 1}, std::uint32_t(std::min<std::int64_t>(blockFrames, kLength - offset)));
        block.setFrameLength(block.frameCapacity());
        std::copy_n(samples.data() + offset, block.frameLength(), block.channel(0));
        applyFadesAndGain(range, offset, block);
        for (std::uint32_t i = 0; i < block.frameLength(); ++i) {
          const std::int64_t p = offset + i, outStart = kLength - out;
          float g = 1;
          if (in > 0 && p < in) g = float(p) * (1.0f / float(in));
          if (out > 0 && p >= outStart) g = g * float(out - (p - outStart)) * (1.0f / float(out));
          g *= gain;
          const float expected = g == 1 ? samples[std::size_t(p)] : samples[std::size_t(p)] * g;
          ASSERT_EQ(block.channel(0)[i], expected) << p << " in blocks of " << blockFrames;
        }
      }
    }
  }
}

// Against a sum that is written out here, with other readers, sample for sample.
TEST_F(ExportTest, AMixIsTheSumOfItsTracks) {
  const std::vector<std::string> urls = {wav("a.wav", 30001, 2, 1, 48000, SF_FORMAT_PCM_16),
                                         wav("b.wav", 20000, 1, 2),
                                         wav("c.wav", 41000, 2, 3, 48000, SF_FORMAT_PCM_24)};
  std::vector<MixTrackInput> inputs;
  for (const std::string& url : urls) inputs.push_back(whole(url));
  inputs[0].range.startFrame = 5000;
  inputs[0].range.fadeInFrames = 300;
  inputs[0].range.gainLinear = 0.7f;
  inputs[1].range.gainLinear = 3;
  inputs[2].range.endFrame = 40000;
  inputs[2].range.fadeOutFrames = 40000;
  ASSERT_TRUE(exporter.exportMix(inputs, path("mix.wav"), floats, progress));
  EXPECT_EQ(progress.fraction(), 1);

  std::vector<float> expected(2 * 40000);
  for (std::size_t t = 0; t < inputs.size(); ++t) {
    const ReadBack file = readBack(urls[t]);
    const TrimRange& range = inputs[t].range;
    for (std::int64_t p = 0; p < range.length(); ++p) {
      float gain = 1;
      if (p < range.fadeInFrames) gain = float(p) * (1.0f / float(range.fadeInFrames));
      if (range.fadeOutFrames > 0)
        gain = gain * float(range.fadeOutFrames - (p - (range.length() - range.fadeOutFrames))) *
               (1.0f / float(range.fadeOutFrames));
      gain *= range.gainLinear;
      for (int c = 0; c < 2; ++c) {
        const auto at = std::size_t((range.startFrame + p) * file.channels + std::min(c, file.channels - 1));
        expected[std::size_t(2 * p + c)] += file.samples[at] * gain;
      }
    }
  }
  const ReadBack mix = readBack(path("mix.wav"));
  EXPECT_EQ(mix.channels, 2);
  EXPECT_EQ(mix.format & SF_FORMAT_SUBMASK, SF_FORMAT_FLOAT);
  EXPECT_EQ(mix.samples, expected);
  EXPECT_TRUE(std::ranges::any_of(expected, [](float x) { return std::abs(x) > 1; })) << "nothing is clipped";

  ASSERT_TRUE(exporter.exportMix(inputs, path("mix.wav"), {}, progress));
  const ReadBack integers = readBack(path("mix.wav"));
  for (std::size_t i = 0; i < expected.size(); ++i)
    ASSERT_NEAR(integers.samples[i], std::clamp(expected[i], -1.0f, 1.0f), 1.01 / 32768) << i;
}

// They are made to be given away; only what is replaced may be more private.
TEST_F(ExportTest, FilesAndFoldersHaveTheModeThatTheUmaskLeaves) {
  const MixTrackInput input = whole(wav("a.wav", 100));
  const auto mode = [&](const std::string& name) {
    struct stat status {};
    EXPECT_EQ(stat(path(name).c_str(), &status), 0) << name;
    return status.st_mode & 0777;
  };
  const mode_t before = umask(027);
  EXPECT_TRUE(exporter.exportTrack(input, path("new/deep/b.wav"), {}, progress));
  EXPECT_TRUE(exporter.exportStems({{input, "x"}}, path("stems"), {.format = kMP3}, progress));
  EXPECT_EQ(mode("new"), 0750u);
  EXPECT_EQ(mode("new/deep"), 0750u);
  EXPECT_EQ(mode("new/deep/b.wav"), 0640u);
  EXPECT_EQ(mode("stems"), 0750u);
  EXPECT_EQ(mode("stems/x.mp3"), 0640u);
  ASSERT_EQ(chmod(path("new/deep/b.wav").c_str(), 0604), 0);
  EXPECT_TRUE(exporter.exportTrack(input, path("new/deep/b.wav"), {}, progress));
  EXPECT_EQ(mode("new/deep/b.wav"), 0604u);
  umask(before);
}

TEST_F(ExportTest, ATrackOfAnotherRateIsBroughtToThatOfTheFirst) {
  const std::vector<MixTrackInput> inputs = {whole(wav("a.wav", 48000, 1)),
                                             whole(tone("b.wav", 1000, 2, 1, 44100))};
  auto mix = SessionMix::open(inputs);
  ASSERT_TRUE(mix);
  EXPECT_EQ((*mix)->format(), (PCMFormat{48000, 1}));
  EXPECT_EQ((*mix)->length(), 96000);
  PCMBuffer block((*mix)->format(), 1000);
  std::vector<float> samples;
  while ((*mix)->read(block, 777) && block.frameLength() > 0)
    samples.insert(samples.end(), block.channel(0), block.channel(0) + block.frameLength());
  ASSERT_EQ(samples.size(), 96000u);
  double error = 0;
  for (std::size_t i = 50000; i < 90000; ++i)
    error = std::max(error,
                     std::abs(samples[i] - 0.5 * std::sin(2 * std::numbers::pi * 1000 * double(i) / 48000)));
  EXPECT_LT(error, 1e-3) << "pitch, level and time";
}

TEST_F(ExportTest, AnotherProgramDecodesMP3sToTheRightLengthLevelAndPitch) {
  for (const auto& [channels, rate, format] :
       {std::tuple{2, 48000, ExportFormat{ExportFormat::Kind::mp3, MP3Bitrate::kbps320}},
        {1, 44100, kMP3},
        {2, 96000, kMP3}}) {
    const std::string source = tone("tone.wav", 1000, 3, channels, rate);
    ASSERT_TRUE(exporter.exportTrack(whole(source), path("tone.mp3"), {.format = format}, progress));
    const std::string bytes =
        outputOf("ffmpeg -v error -i " + path("tone.mp3") + " -f f32le -ar 48000 -af 'pan=mono|c0=c0' -");
    std::vector<float> samples(bytes.size() / 4);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 4);
    EXPECT_NEAR(double(samples.size()) / 48000, 3, 0.1);
    double square = 0;
    int crossings = 0;
    for (std::size_t i = 48000; i < 96000; ++i) {
      square += samples[i] * samples[i];
      crossings += samples[i - 1] < 0 && samples[i] >= 0;
    }
    EXPECT_NEAR(crossings, 1000, 1) << rate;
    // At 192 kbit/s the encoder takes 0.26 dB off against clipping.
    EXPECT_NEAR(10 * std::log10(square / 48000), 20 * std::log10(0.5) - 3.01, 0.3) << channels;
  }
  const std::string probe =
      outputOf("ffprobe -v error -show_entries stream=bit_rate,channels -of csv=p=0 " + path("tone.mp3"));
  EXPECT_EQ(probe, "2,192000\n");
}

// Another program leaves out the encoder's silence at both ends only when the file says how much it is.
TEST_F(ExportTest, AnMP3PlaysWithoutGapsAndHasNoTags) {
  const std::string source = tone("a.wav", 1000, 2.345);
  ASSERT_TRUE(exporter.exportTrack(whole(source), path("a.mp3"), {.format = kMP3}, progress));
  EXPECT_EQ(outputOf("ffmpeg -v error -i " + path("a.mp3") + " -f f32le -ac 1 -").size(),
            std::size_t(2345 * 48 * 4));
  const std::string bytes = bytesIn(path("a.mp3"));
  EXPECT_EQ(std::uint8_t(bytes[0]), 0xFF) << "begins with a frame";
  EXPECT_TRUE(bytes.substr(0, 64).contains("Info"));
  EXPECT_EQ(outputOf("ffprobe -v error -show_entries format_tags=title,date -of csv=p=0 " + path("a.mp3")),
            "\n");
}

TEST_F(ExportTest, FLACLosesNothing) {
  const std::string source = wav("a.wav", 30000, 2, 3, 44100);
  const auto original = readBack(source);
  for (const auto depth : {RecordingBitDepth::int16, RecordingBitDepth::int24, RecordingBitDepth::float32}) {
    const bool isCoarse = depth == RecordingBitDepth::int16;
    const SessionExporter::Options options{.format = {ExportFormat::Kind::flac}, .depth = depth};
    ASSERT_TRUE(exporter.exportTrack(whole(source), path("a.flac"), options, progress));
    const ReadBack made = readBack(path("a.flac"));
    EXPECT_EQ(made.format & SF_FORMAT_SUBMASK, isCoarse ? SF_FORMAT_PCM_16 : SF_FORMAT_PCM_24);
    ASSERT_EQ(made.samples.size(), original.samples.size());
    for (std::size_t i = 0; i < made.samples.size(); ++i)
      ASSERT_NEAR(made.samples[i], original.samples[i], isCoarse ? 1 / 32768.0 : 1 / 8388608.0) << i;
  }
}

// The other readers take out what encoders put in front and behind.
TEST_F(ExportTest, OpusAndM4AHaveTheLengthLevelAndRateOfTheirSource) {
  using enum ExportFormat::Kind;
  for (const auto& [kind, rate, ownRate] : {std::tuple{opus, 48000, 48000},
                                            {opus, 44100, 48000},
                                            {opus, 16000, 16000},
                                            {m4a, 44100, 44100},
                                            {m4a, 192000, 48000}})
    for (const int channels : {1, 2}) {
      const ExportFormat format{kind};
      SCOPED_TRACE(fmt::format("{} {} {}", name(format), rate, channels));
      const std::string out = path(std::string("t.") + format.fileExtension());
      ExportProgress own(runtime);
      ASSERT_TRUE(
          exporter.exportTrack(whole(tone("t.wav", 440, 3, channels, rate)), out, {.format = format}, own));
      EXPECT_NEAR(own.fraction(), 1, 0.001);
      EXPECT_EQ(own.notes().size(), ownRate < rate ? 1u : 0u);
      const std::string bytes = outputOf("ffmpeg -v error -i " + out + " -f f32le -");
      std::vector<float> heard(bytes.size() / 4);
      std::memcpy(heard.data(), bytes.data(), bytes.size());
      // Opus is always decoded at 48 kHz.
      const double decodedRate = kind == opus ? 48000 : ownRate;
      EXPECT_NEAR(double(heard.size()) / channels, 3 * decodedRate, kind == opus ? 0 : 1024);
      double square = 0;
      for (const float sample : heard) square += double(sample) * sample;
      EXPECT_NEAR(std::sqrt(square / double(heard.size())), 0.5 / std::numbers::sqrt2, 0.01);
      const auto reader = openAudioFile(out);
      ASSERT_TRUE(reader) << reader.error().description;
      EXPECT_EQ((*reader)->format(), (PCMFormat{double(ownRate), std::uint32_t(channels)}));
      EXPECT_EQ((*reader)->frameCount(), 3 * ownRate) << "to the frame";
    }
  const std::string six = this->wav("six.wav", 30000, 6, 5, 22050);
  for (const auto kind : {opus, m4a}) {
    const std::string out = path(std::string("six.") + ExportFormat{kind}.fileExtension());
    ASSERT_TRUE(exporter.exportTrack(whole(six), out, {.format = {kind}}, progress)) << out;
    EXPECT_EQ((*openAudioFile(out))->format().channels, 2u) << "mixed down";
  }
  ASSERT_TRUE(exporter.exportTrack(whole(six), path("six.flac"), {.format = {flac}}, progress));
  EXPECT_EQ((*openAudioFile(path("six.flac")))->format().channels, 6u);
}

TEST_F(ExportTest, FormatsThatCanTellTheirTitleAndDate) {
  using enum ExportFormat::Kind;
  const std::string recording = tone("Sonmere Track 1 \u2014 2026-03-04 05-06-07.wav", 440, 0.5);
  for (const auto kind : {flac, opus, m4a}) {
    const std::string extension = ExportFormat{kind}.fileExtension();
    const auto tagsOf = [&](const std::string& source, const std::string& stem) {
      const std::string out = path(stem + "." + extension);
      EXPECT_TRUE(exporter.exportTrack(whole(source), out, {.format = {kind}}, progress)) << out;
      return outputOf(
          "ffprobe -v error -show_entries format_tags=title,date:stream_tags=title,date "
          "-of default=nk=0:nw=1 '" +
          out + "' | sort -f | tr -d '\n' | tr A-Z a-z");
    };
    EXPECT_EQ(tagsOf(recording, "Mein Stück"), "tag:date=2026-03-04tag:title=mein stück") << extension;
    EXPECT_EQ(tagsOf(recording, "Sonmere Take \u2014 2026-03-04 05-06-07"),
              "tag:date=2026-03-04tag:title=take")
        << extension;
    EXPECT_EQ(tagsOf(tone("plain.wav", 440, 0.5), "b"), "tag:title=b") << extension;
  }
}

// Bytes that another program takes as they come, and that nothing goes back to.
TEST_F(ExportTest, AStreamCanBeReadByAnotherProgram) {
  const std::string source = wav("a.wav", 50000, 2, 3, 48000, SF_FORMAT_PCM_16);
  for (const ExportFormat& format : allExportFormats()) {
    SCOPED_TRACE(name(format));
    const std::string copy = path("copy");
    FILE* pipe = popen(("cat >" + copy).c_str(), "w");
    const auto done = exporter.exportTrack(whole(source), "standard output",
                                           {.format = format, .stream = fileno(pipe)}, progress);
    EXPECT_EQ(pclose(pipe), 0);
    ASSERT_EQ(done.has_value(), format.kind != ExportFormat::Kind::m4a);
    if (!done) continue;
    const std::string bytes = outputOf("ffmpeg -v error -i pipe:0 -f s16le -ar 48000 - <" + copy);
    EXPECT_NEAR(double(bytes.size()) / 4, 50000, format.kind == ExportFormat::Kind::mp3 ? 3000 : 0);
    if (format.kind == ExportFormat::Kind::wav || format.kind == ExportFormat::Kind::flac) {
      EXPECT_EQ(bytes, outputOf("ffmpeg -v error -i " + source + " -f s16le -"));
    }
    EXPECT_EQ(names(), (std::vector<std::string>{"a.wav", "copy"}));
  }
}

TEST_F(ExportTest, AFullDiskEndsExportsOfEveryFormat) {
  const std::string source = wav("a.wav", 400000);
  for (const ExportFormat& format : allExportFormats()) {
    const std::string out = path(std::string("b.") + format.fileExtension());
    const auto full = [&] {
      const SizeLimit limit(20000);
      return exporter.exportTrack(whole(source), out, {.format = format}, progress);
    }();
    EXPECT_FALSE(full) << name(format);
    EXPECT_EQ(names(), std::vector<std::string>{"a.wav"}) << name(format);
  }
}

TEST_F(ExportTest, MP3sAreRefusedWhatTheyCannotHold) {
  const auto why = [](std::uint32_t channels, double rate) {
    const auto encoder = MP3Encoder::create({rate, channels}, MP3Bitrate::kbps128);
    return encoder ? "" : encoder.error().description;
  };
  EXPECT_EQ(why(3, 48000), "Audio format unsupported for MP3 encoding: channels must be 1 or 2, got 3");
  EXPECT_EQ(why(0, 48000), "Audio format unsupported for MP3 encoding: channels must be 1 or 2, got 0");
  EXPECT_EQ(
      why(2, 96001),
      "Audio format unsupported for MP3 encoding: sampleRate 96001 Hz is outside LAME's supported range");
  EXPECT_EQ(why(2, 96000), "");
  std::ofstream(path("old.mp3")) << "old";
  const MixTrackInput fast = whole(wav("fast.wav", 100, 1, 1, 192000));
  EXPECT_FALSE(exporter.exportTrack(fast, path("old.mp3"), {.format = kMP3}, progress));
  EXPECT_EQ(bytesIn(path("old.mp3")), "old");
  EXPECT_EQ(names(), (std::vector<std::string>{"fast.wav", "old.mp3"}));
}

// A tone that sounds in the centre of six channels only; the level is that of the 3 dB less on either side.
TEST_F(ExportTest, OfMoreThanTwoChannelsAnMP3HasAllThatIsHeard) {
  const std::string six = path("six.wav");
  outputOf(
      "ffmpeg -v error -f lavfi -i sine=frequency=1000:duration=2 -af 'volume=12dB,pan=5.1|FC=c0' "
      "-ar 48000 -c:a pcm_f32le " +
      six);
  ASSERT_TRUE(exporter.exportMix({whole(six)}, path("out.mp3"), {.format = kMP3}, progress));
  EXPECT_EQ(progress.notes(),
            std::vector<std::string>{"6 channels were mixed down to two, centre and surrounds at "
                                     "-3 dB and without the LFE"});
  const ReadBack heard = readBack(path("out.mp3"));
  ASSERT_EQ(heard.channels, 2);
  double square = 0;
  for (std::size_t i = 48000; i < 2 * 48000; ++i) square += heard.samples[i] * heard.samples[i];
  // The source's tone is at -18.06 dB of full scale before the 12 dB.
  EXPECT_NEAR(10 * std::log10(square / 48000), -18.06 + 12 - 3.01 - 3.01, 0.4);
  ASSERT_TRUE(exporter.exportTrack(whole(six), path("out.wav"), floats, progress));
  EXPECT_EQ(readBack(path("out.wav")).channels, 6) << "a WAV holds them all";
}

// As other programs write them; what WAVs of them keep is what the sources have.
TEST_F(ExportTest, TheDepthOfACopyIsThatOfItsSource) {
  using enum RecordingBitDepth;
  for (const auto& [name, codec, depth] : {std::tuple{"a.w64", "pcm_f32le", float32},
                                           {"b.mov", "pcm_s24le", int24},
                                           {"c.mkv", "pcm_f32le", float32},
                                           {"d.mkv", "flac -sample_fmt s32 -strict -2", int24},
                                           {"e.wav", "pcm_s32le", int24},
                                           {"f.wav", "pcm_s16le", int16},
                                           {"g.m4a", "alac -sample_fmt s32p", int24},
                                           {"h.m4a", "aac", int16},
                                           {"i.aiff", "pcm_s24be", int24},
                                           {"j.mov", "pcm_s16le", int16},
                                           {"k.wav", "pcm_f64le", float32}}) {
    outputOf(std::string("ffmpeg -v error -f lavfi -i sine=d=0.2 -c:a ") + codec + " " + path(name));
    EXPECT_EQ(sourceBitDepth(path(name)), depth) << name;
  }
}

TEST_F(ExportTest, SamplesThatAreNoNumbersEndNoExport) {
  std::vector<float> samples = noise(2 * 20000);
  for (std::size_t i = 0; i < samples.size(); i += 997)
    samples[i] = std::array{NAN, INFINITY, -INFINITY, 3e38f}[i % 4];
  const std::string source =
      makeAudioFile(path("odd.wav"), SF_FORMAT_WAV | SF_FORMAT_FLOAT, 48000, 2, samples);
  for (const ExportFormat& format : {ExportFormat{}, kMP3, ExportFormat{ExportFormat::Kind::flac}}) {
    const std::string out = path(std::string("out.") + format.fileExtension());
    ASSERT_TRUE(exporter.exportTrack(whole(source), out, {.format = format}, progress));
    const auto made = readBack(out).samples;
    EXPECT_TRUE(std::ranges::all_of(made, [](float x) { return std::isfinite(x); }));
    EXPECT_TRUE(made[0] == 0 || format.kind == ExportFormat::Kind::mp3) << "no number is silence";
  }
}

TEST_F(ExportTest, WritersTakeBlocksOfAnySizeAndFinishOnce) {
  PCMBuffer large({48000, 2}, 100000);
  large.setFrameLength(100000);
  for (const ExportFormat& format : {ExportFormat{}, kMP3, ExportFormat{ExportFormat::Kind::flac}}) {
    const std::string file = path(std::string("x.") + format.fileExtension());
    FileDescriptor descriptor(open(file.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    // More than is expected, which the header has in the end.
    auto writer = makeExportWriter(ExportFile(std::move(descriptor), file), format,
                                   {{48000, 2}, 99999, RecordingBitDepth::int24});
    ASSERT_TRUE(writer);
    EXPECT_TRUE((*writer)->write(large));
    EXPECT_FALSE((*writer)->write(PCMBuffer({48000, 1}, 10))) << "another layout";
    EXPECT_TRUE((*writer)->finish());
    const std::string bytes = bytesIn(file);
    EXPECT_TRUE((*writer)->finish());
    EXPECT_FALSE((*writer)->write(large)) << "finished";
    EXPECT_EQ(bytesIn(file), bytes);
    // An MP3 is whole packets, with what the encoder looked ahead.
    EXPECT_NEAR(double(readBack(file).samples.size()) / 2, 100000, format == kMP3 ? 3 * 1152 : 0);
  }
}

TEST_F(ExportTest, DestinationsThatAreNoFilesAreRefusedAndNothingIsTouched) {
  const MixTrackInput input = whole(wav("a.wav", 1000));
  const std::string original = bytesIn(path("a.wav"));
  fs::create_directory(path("dir.wav"));
  fs::create_directory(path("taken.wav.tmp"));
  fs::create_symlink(path("a.wav"), path("link.wav"));
  fs::create_hard_link(path("a.wav"), path("hard.wav"));
  std::ofstream(path("file")) << "x";
  const auto before = names();
  const std::string long_(300, 'x');
  for (const std::string& name : {std::string("dir.wav"), std::string("link.wav"), std::string("hard.wav"),
                                  std::string("a.wav"), std::string("file/b.wav"), std::string("taken.wav"),
                                  std::string("dir.wav/"), std::string(".."), std::string(""), long_}) {
    const auto result = exporter.exportTrack(input, name.empty() ? "" : path(name), {}, progress);
    EXPECT_FALSE(result) << name;
    EXPECT_EQ(names(), before) << name;
  }
  EXPECT_EQ(bytesIn(path("a.wav")), original);
  EXPECT_TRUE(lines.empty());
  EXPECT_FALSE(exporter.exportMix({input}, path("dir.wav"), {}, progress));
  EXPECT_EQ(lines, std::vector{"SessionExporter: mix failed: " + path("dir.wav") +
                               ": this is a folder; name a file"});

  const SessionExporter::Options keeps{.mayReplace = false};
  EXPECT_FALSE(exporter.exportTrack(input, path("file"), keeps, progress));
  EXPECT_EQ(bytesIn(path("file")), "x");
  EXPECT_TRUE(exporter.exportTrack(input, path("new/deep/b.wav"), keeps, progress)) << "folders are made";
  EXPECT_EQ(readBack(path("new/deep/b.wav")).samples.size(), 2000u);
}

TEST_F(ExportTest, ACancelledOrFailedExportLeavesWhatWasThere) {
  const MixTrackInput input = whole(wav("a.wav", 100000));
  std::ofstream(path("mix.wav")) << "old";
  std::ofstream(path("mix.wav.tmp")) << "left over";
  const auto before = std::vector<std::string>{"a.wav", "mix.wav"};
  progress.onAdvance = [&] {
    if (progress.fraction() > 0.5) progress.cancel();
  };
  const auto cancelled = exporter.exportMix({input}, path("mix.wav"), {}, progress);
  ASSERT_FALSE(cancelled);
  EXPECT_EQ(cancelled.error().domain, kExportCancelledDomain);
  EXPECT_EQ(names(), before);
  EXPECT_EQ(bytesIn(path("mix.wav")), "old");

  ExportProgress fresh(runtime);
  const auto missing =
      exporter.exportMix({input, {path("none.wav"), input.range}}, path("mix.wav"), {}, fresh);
  EXPECT_EQ(missing.error().description, path("none.wav") + ": no such file");
  MixTrackInput beyond = input;
  beyond.range.endFrame = 100001;
  EXPECT_FALSE(exporter.exportTrack(beyond, path("b.wav"), {}, fresh));
  EXPECT_FALSE(exporter.exportMix({}, path("b.wav"), {}, fresh));
  EXPECT_EQ(names(), before);

  // Another export of the same file, which is not done yet.
  bool isTried = false;
  fresh.onAdvance = [&] {
    if (std::exchange(isTried, true)) return;
    ExportProgress second(runtime);
    EXPECT_FALSE(exporter.exportTrack(input, path("mix.wav"), {}, second));
  };
  EXPECT_TRUE(exporter.exportTrack(input, path("mix.wav"), {}, fresh));
  EXPECT_TRUE(isTried);
  EXPECT_EQ(readBack(path("mix.wav")).samples.size(), 200000u);
  EXPECT_EQ(names(), before);
}

// A file is one export's from the moment it is made, whatever others do meanwhile.
TEST_F(ExportTest, ExportsSideBySideLoseNothing) {
  const SessionExporter::Stem stems[] = {{whole(wav("a.wav", 3000)), "x"}, {whole(wav("b.wav", 200)), "x"}};
  for (int round = 0; round < rounds(); ++round) {
    std::barrier start(2);
    std::array<bool, 2> isDone{};
    const auto work = [&](std::size_t i) {
      ExportProgress own(runtime);
      Log quiet;
      const SessionExporter::Options options{.mayReplace = round % 2 == 0};
      start.arrive_and_wait();
      isDone[i] = SessionExporter(quiet).exportTrack(stems[i].input, path("out/mix.wav"), options, own) &&
                  SessionExporter(quiet).exportStems(std::vector(1, stems[i]), path("out"), options, own);
    };
    { const std::jthread first(work, 0), second(work, 1); }
    EXPECT_TRUE(isDone[0] || isDone[1]) << round;
    for (const auto& entry : fs::directory_iterator(path("out"))) {
      ASSERT_EQ(entry.path().extension(), ".wav");
      const std::size_t frames = readBack(entry.path()).samples.size() / 2;
      EXPECT_TRUE(frames == 3000 || frames == 200) << round << ": " << entry.path() << " has " << frames;
    }
    fs::remove_all(path("out"));
  }
}

TEST_F(ExportTest, AnUnfinishedFileIsOnesUntilItIsMoved) {
  auto file = UnfinishedFile::create(path("x.tmp"));
  ASSERT_TRUE(file);
  auto descriptor = file->descriptor();
  const auto second = UnfinishedFile::create(path("x.tmp"));
  ASSERT_FALSE(second);
  EXPECT_EQ(second.error().code, EWOULDBLOCK);
  EXPECT_TRUE(file->isOurs()) << "it was left alone";
  fs::rename(path("x.tmp"), path("y"));
  std::ofstream(path("x.tmp")) << "another's";
  EXPECT_FALSE(file->isOurs());
  EXPECT_TRUE(file->isOurs(path("y")));
  { const auto gone = std::move(*file); }
  EXPECT_EQ(bytesIn(path("x.tmp")), "another's");
  UnfinishedFile::sweep(folder.path());
  EXPECT_TRUE(fs::exists(path("x.tmp"))) << "it may be anyone's";

  for (const bool isByHandler : {false, true}) {
    const pid_t child = fork();
    if (child == 0) {
      const auto killed = UnfinishedFile::create(path("z.tmp"));
      if (isByHandler) UnfinishedFile::removeAllInSignal();
      _exit(killed ? 0 : 1);
    }
    int status = 1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(fs::exists(path("z.tmp")), !isByHandler);
    UnfinishedFile::sweep(folder.path());
    EXPECT_FALSE(fs::exists(path("z.tmp"))) << "a dead process's goes";
  }
}

TEST_F(ExportTest, StemsHaveFreeNamesAndAreAllThereOrNone) {
  const MixTrackInput a = whole(wav("a.wav", 1000)), b = whole(wav("b.wav", 500, 1, 2, 44100));
  fs::create_directory(path("out"));
  std::ofstream(path("out/Track 1.wav")) << "mine";
  const std::vector<SessionExporter::Stem> stems = {{a, "Track 1"}, {b, "Track 1"}, {a, "../x/y"}, {a, ".."}};
  const auto paths = exporter.exportStems(stems, path("out"), {}, progress);
  ASSERT_TRUE(paths) << paths.error().description;
  EXPECT_EQ(*paths, (std::vector{path("out/Track 1 2.wav"), path("out/Track 1 3.wav"), path("out/-x-y.wav"),
                                 path("out/Track.wav")}));
  EXPECT_EQ(bytesIn(path("out/Track 1.wav")), "mine");
  const ReadBack stem = readBack((*paths)[1]);
  EXPECT_EQ(stem.sampleRate, 44100);
  EXPECT_EQ(stem.channels, 1);
  EXPECT_EQ(stem.samples.size(), 500u);

  EXPECT_FALSE(
      exporter.exportStems({{a, "x"}, {{path("none.wav"), a.range}, "y"}}, path("none"), {}, progress));
  EXPECT_FALSE(fs::exists(path("none"))) << "nor the folder";
}

TEST_F(ExportTest, AMixHasTheRateItIsToldAndLeavesOtherOriginalsAlone) {
  const MixTrackInput heard = whole(wav("heard.wav", 44100, 2, 1, 44100));
  const std::string muted = wav("muted.wav", 100), original = bytesIn(muted);
  const SessionExporter::Options options{.sampleRate = 48000, .originals = {muted}};
  ASSERT_TRUE(exporter.exportMix({heard}, path("new/mix.wav"), options, progress));
  EXPECT_EQ(readBack(path("new/mix.wav")).sampleRate, 48000);
  EXPECT_EQ(readBack(path("new/mix.wav")).samples.size(), 2u * 48000);
  EXPECT_FALSE(exporter.exportMix({heard}, muted, options, progress));
  EXPECT_EQ(bytesIn(muted), original);
}

TEST_F(ExportTest, FoldersThatWereMadeGoWithAnExportThatFails) {
  const MixTrackInput input = whole(wav("a.wav", 10000));
  progress.cancel();
  EXPECT_FALSE(exporter.exportTrack(input, path("new/deep/b.wav"), {}, progress));
  EXPECT_FALSE(exporter.exportStems({{input, "x"}, {input, "y"}}, path("new/stems"), {}, progress));
  EXPECT_EQ(names(), std::vector<std::string>{"a.wav"});
  fs::create_directory(path("mine"));
  EXPECT_FALSE(exporter.exportTrack(input, path("mine/deep/b.wav"), {}, progress));
  EXPECT_TRUE(fs::is_empty(path("mine"))) << "what was there stays";
}

TEST_F(ExportTest, TheTimeLeftComesFromThePace) {
  progress.begin(1000);
  EXPECT_FALSE(progress.timeLeft());
  runtime.jump(fromSeconds(2));
  progress.advance(250);
  EXPECT_EQ(progress.fraction(), 0.25);
  EXPECT_EQ(progress.timeLeft(), fromSeconds(6));
}

TEST_F(ExportTest, LoudnessIsThatOfOtherMetersAndGivesTheGain) {
  // A full-scale sine of 997 Hz in one channel is -3.01 LKFS by definition; -6.02 dB on both sides is the
  // same 3.01 dB up and 6.02 down.
  auto source = TrackReader::open(whole(tone("t.wav", 997, 8)));
  ASSERT_TRUE(source);
  const auto loudness = measureLoudness(**source, progress);
  ASSERT_TRUE(loudness) << loudness.error().description;
  EXPECT_NEAR(loudness->integratedLUFS, -6.02, 0.05);
  EXPECT_NEAR(loudness->samplePeakDb, -6.02, 0.01);
  EXPECT_NEAR(loudness->truePeakDb, -6.02, 0.1);
  EXPECT_NEAR(loudness->rangeLU, 0, 0.1);

  MixTrackInput gone = whole(tone("gone.wav", 997, 1));
  ASSERT_EQ(unlink(gone.url.c_str()), 0);
  EXPECT_FALSE(measureTrackLoudness(gone, progress));
  EXPECT_FALSE(measureTrackPeak(gone, progress));

  const LoudnessGain quieter = gainToLoudness(*loudness, -14);
  EXPECT_NEAR(20 * std::log10(quieter.gainLinear), -7.98, 0.05);
  EXPECT_FALSE(quieter.passesFullScale());
  EXPECT_TRUE(gainToLoudness(*loudness, 0).passesFullScale());
  const LoudnessGain most = gainToLoudness({.integratedLUFS = -60, .truePeakDb = -50}, -14);
  EXPECT_EQ(most.gainLinear, 16);
  EXPECT_TRUE(most.isLimited);
  EXPECT_EQ(gainToLoudness({.integratedLUFS = -INFINITY}, -14).gainLinear, 1);
  EXPECT_FALSE(LoudnessMeter::create({100, 1})) << "the weighting needs more";
  EXPECT_TRUE(LoudnessMeter::create({8000, 1}));
}

}  // namespace
}  // namespace sonmere
