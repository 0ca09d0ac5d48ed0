#include "audio/file/WavFileWriter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <bit>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "FileSupport.h"
#include "WriterSupport.h"
#include "audio/file/AudioFileReader.h"
#include "audio/file/WavHeader.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

AudioFileSettings pcm(int bitDepth, bool isFloat = false, std::uint32_t channels = 2) {
  AudioFileSettings settings;
  settings.bitDepth = bitDepth;
  settings.isFloat = isFloat;
  settings.channels = channels;
  return settings;
}

// The file as libsndfile sees it: integers as they are, in the upper bits of 32; floats as their bits.
struct Seen {
  SF_INFO info{};
  std::vector<std::int32_t> integers;
  std::vector<float> floats;
};

Seen see(const std::string& path) {
  Seen seen;
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &seen.info);
  if (!file) {
    ADD_FAILURE() << path << ": " << sf_strerror(nullptr);
    return seen;
  }
  const auto samples = std::size_t(seen.info.frames * seen.info.channels);
  if ((seen.info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_FLOAT) {
    seen.floats.resize(samples);
    EXPECT_EQ(sf_readf_float(file, seen.floats.data(), seen.info.frames), seen.info.frames);
  } else {
    seen.integers.resize(samples);
    EXPECT_EQ(sf_readf_int(file, seen.integers.data(), seen.info.frames), seen.info.frames);
  }
  sf_close(file);
  return seen;
}

std::vector<float> awkwardSamples() {
  std::vector<float> samples = {0.0f,         -0.0f,        1.0f,          -1.0f, 1.5f,   -1.5f,
                                1e9f,         -1e9f,        0.99999f,      1e-9f, 1e-40f, 0.5f / 32768,
                                1.4f / 32768, 1.6f / 32768, -1.6f / 32768, 3.25f};
  std::mt19937 random(5);
  for (int i = 0; i < 4000; ++i)
    samples.push_back(std::uniform_real_distribution<float>(-1.1f, 1.1f)(random));
  return samples;
}

TEST(FileWavWriter, IntegersAreRoundedAndClippedNeverWrapped) {
  TemporaryFolder folder;
  const auto samples = awkwardSamples();
  for (const int bits : {16, 24, 32}) {
    const std::string path = folder / (std::to_string(bits) + ".wav");
    const auto writer = mustCreate(path, pcm(bits));
    ASSERT_TRUE(writer->write(bufferOf(writer->processingFormat(), samples)));
    ASSERT_TRUE(writer->close());

    const Seen seen = see(path);
    ASSERT_EQ(seen.integers.size(), samples.size());
    EXPECT_EQ(seen.info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_WAV);
    EXPECT_EQ(seen.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16 + (bits - 16) / 8);
    const long double scale = std::pow(2.0L, bits - 1);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      const long double rounded = std::nearbyint(samples[i] * scale);
      const auto expected = std::int64_t(std::clamp(rounded, -scale, scale - 1));
      ASSERT_EQ(seen.integers[i] >> (32 - bits), expected) << bits << " bits, sample " << samples[i];
    }
  }
}

TEST(FileWavWriter, FloatsKeepEveryBit) {
  TemporaryFolder folder;
  const auto samples = awkwardSamples();
  const auto writer = mustCreate(folder / "a.wav", pcm(32, true));
  ASSERT_TRUE(writer->write(bufferOf(writer->processingFormat(), samples)));
  ASSERT_TRUE(writer->close());
  const Seen seen = see(folder / "a.wav");
  EXPECT_EQ(seen.info.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
  ASSERT_EQ(seen.floats.size(), samples.size());
  EXPECT_EQ(std::memcmp(seen.floats.data(), samples.data(), samples.size() * 4), 0);
}

TEST(FileWavWriter, NotANumberBecomesSilenceInIntegers) {
  TemporaryFolder folder;
  const auto writer = mustCreate(folder / "a.wav", pcm(16));
  ASSERT_TRUE(writer->write(bufferOf(writer->processingFormat(), {std::nanf(""), 0.25f})));
  EXPECT_EQ(see(folder / "a.wav").integers, (std::vector<std::int32_t>{0, 8192 << 16}));
}

TEST(FileWavWriter, FileIsWholeAfterEveryWriteAndWhenEmpty) {
  TemporaryFolder folder;
  for (const auto& settings : {pcm(16), pcm(24, false, 1), pcm(32, true, 6)}) {
    const std::string path = folder / ("w" + std::to_string(settings.bitDepth) + ".wav");
    const auto writer = mustCreate(path, settings);
    std::int64_t frames = 0;
    for (const std::size_t block : {0, 1, 511, 0, 4096, 3}) {
      ASSERT_TRUE(
          writer->write(bufferOf(writer->processingFormat(), tone(500, 48000, block, settings.channels))));
      frames += std::int64_t(block);
      const Seen seen = see(path);
      EXPECT_EQ(seen.info.frames, frames);
      EXPECT_EQ(seen.info.channels, int(settings.channels));
      EXPECT_EQ(seen.info.samplerate, 48000);
    }
    ASSERT_TRUE(writer->close());
    EXPECT_EQ(see(path).info.frames, frames);

    const std::string bytes = bytesOf(path);
    std::uint32_t riffBytes = 0;
    std::memcpy(&riffBytes, bytes.data() + 4, 4);
    EXPECT_EQ(riffBytes, bytes.size() - 8) << "the RIFF size counts the pad byte";
    EXPECT_EQ(bytes.size() % 2, 0u);
    EXPECT_EQ(bytes.find("PEAK"), std::string::npos);
  }
}

TEST(FileWavWriter, SurvivesTheDeathOfItsProcess) {
  TemporaryFolder folder;
  const std::string path = folder / "killed.wav";
  const auto samples = tone(440, 48000, 512, 2);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto writer = createAudioFile(path, pcm(24));
    if (!writer) ::_exit(1);
    for (int i = 0; i < 50; ++i) {
      if (!(*writer)->write(bufferOf((*writer)->processingFormat(), samples))) ::_exit(1);
    }
    ::raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  const auto reader = mustOpen(path);
  ASSERT_TRUE(reader);
  const auto found = readAll(*reader);
  ASSERT_EQ(found.size(), 50 * samples.size());
  for (std::size_t i = 0; i < found.size(); ++i) ASSERT_NEAR(found[i], samples[i % samples.size()], 1e-6);
}

TEST(FileWavWriter, FailedWriteLeavesWholeFramesAndTheNextOneGoesOn) {
  TemporaryFolder folder;
  const std::string path = folder / "full.wav";
  const auto settings = pcm(24);
  const auto writer = mustCreate(path, settings);
  const auto samples = tone(440, 48000, 1000, 2);
  const auto buffer = bufferOf(writer->processingFormat(), samples);
  ASSERT_TRUE(writer->write(buffer));
  {
    // Room for 500 more frames and a half.
    SizeLimit limit(wavHeader(settings, 0).size() + 1500 * 6 + 3);
    const auto failed = writer->write(buffer);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().domain, kPOSIXErrorDomain);
    EXPECT_EQ(failed.error().code, EFBIG);
    EXPECT_NE(failed.error().description.find(path), std::string::npos);
    EXPECT_EQ(see(path).info.frames, 1500);
    EXPECT_FALSE(writer->write(buffer)) << "still full";
    EXPECT_EQ(see(path).info.frames, 1500);
  }
  ASSERT_TRUE(writer->write(buffer));
  ASSERT_TRUE(writer->close());
  const Seen seen = see(path);
  ASSERT_EQ(seen.info.frames, 2500);
  EXPECT_TRUE(std::equal(seen.integers.begin(), seen.integers.begin() + 2000, seen.integers.begin() + 3000))
      << "the block after the failure begins on a frame";
}

TEST(FileWavWriter, FullDeviceIsErrorTwentyEight) {
  FileDescriptor full(::open("/dev/full", O_RDWR | O_CLOEXEC));
  ASSERT_TRUE(full.valid());
  const auto writer = WavFileWriter::start(std::move(full), "/takes/one.wav", pcm(16));
  ASSERT_FALSE(writer);
  EXPECT_EQ(writer.error(), posixError(ENOSPC, "could not write /takes/one.wav"));
  EXPECT_EQ(writer.error().code, 28);
}

TEST(FileWavWriter, CloseFindsWhatIsMissing) {
  TemporaryFolder folder;
  const std::string path = folder / "cut.wav";
  const auto writer = mustCreate(path, pcm(16));
  ASSERT_TRUE(writer->write(bufferOf(writer->processingFormat(), tone(440, 48000, 1000, 2))));
  std::filesystem::resize_file(path, 2000);
  const auto closed = writer->close();
  ASSERT_FALSE(closed);
  EXPECT_NE(closed.error().description.find(path), std::string::npos);
}

TEST(FileWavWriter, RefusesWhatIsNotItsOwn) {
  TemporaryFolder folder;
  writeBytes(folder / "taken.wav", "precious");
  std::filesystem::create_symlink(folder / "victim.wav", folder / "link.wav");
  for (const std::string name : {"taken.wav", "link.wav"}) {
    const auto refused = createAudioFile(folder / name, pcm(16));
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().code, EEXIST);
    EXPECT_NE(refused.error().description.find(name), std::string::npos);
  }
  EXPECT_EQ(bytesOf(folder / "taken.wav"), "precious");
  EXPECT_FALSE(std::filesystem::exists(folder / "victim.wav"));
  EXPECT_EQ(createAudioFile(folder / "no/such/folder.wav", pcm(16)).error().code, ENOENT);
}

TEST(FileWavWriter, FileIsPrivateWhateverTheMask) {
  TemporaryFolder folder;
  for (const mode_t mask : {0, 0777}) {
    const std::string path = folder / std::to_string(mask);
    const mode_t before = ::umask(mask);
    const auto writer = createAudioFile(path, pcm(16));
    ::umask(before);
    ASSERT_TRUE(writer);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
  }
}

TEST(FileWavWriter, BadSettingsAreRefusedAndLeaveNoFile) {
  TemporaryFolder folder;
  const std::string path = folder / "bad.wav";
  std::vector<AudioFileSettings> bad = {
      pcm(8), pcm(0), pcm(20), pcm(16, true), pcm(16, false, 0), pcm(16, false, 65)};
  for (const double rate : {0.0, -48000.0, 1e9, std::nan("")}) {
    bad.push_back(pcm(16));
    bad.back().sampleRate = rate;
  }
  for (const double rate : {192000.0, 44101.0, 4000.0, 48000.5}) bad.push_back(aac(rate));
  bad.push_back(aac(48000, 3));
  for (const auto& settings : bad) {
    const auto refused = createAudioFile(path, settings);
    ASSERT_FALSE(refused) << settings.bitDepth << ' ' << settings.sampleRate << ' ' << settings.channels;
    EXPECT_EQ(refused.error().domain, "AudioFileWriter");
    EXPECT_NE(refused.error().description.find(path), std::string::npos);
  }
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(FileWavWriter, WrongLayoutAndClosedFileAreErrors) {
  TemporaryFolder folder;
  const auto writer = mustCreate(folder / "a.wav", pcm(16));
  EXPECT_FALSE(writer->write(PCMBuffer({48000, 1}, 10)));
  EXPECT_FALSE(writer->write(PCMBuffer({44100, 2}, 10)));
  ASSERT_TRUE(writer->close());
  EXPECT_TRUE(writer->close());
  EXPECT_FALSE(writer->write(PCMBuffer({48000, 2}, 10)));
}

TEST(FileWavWriter, HeaderTurnsIntoRF64BeyondFourGibibytes) {
  TemporaryFolder folder;
  for (const auto& settings : {pcm(16), pcm(32, true)}) {
    const std::uint64_t bytesPerFrame = wavBytesPerFrame(settings);
    for (const std::uint64_t frames : {(std::uint64_t(1) << 32) / bytesPerFrame - 100,
                                       (std::uint64_t(1) << 32) / bytesPerFrame, std::uint64_t(3) << 30}) {
      const std::string path = folder / "large.wav";
      const auto header = wavHeader(settings, frames);
      ASSERT_EQ(header.size(), kWavHeaderBytes);
      writeBytes(path, {header.begin(), header.end()});
      // Sparse: takes no room.
      std::filesystem::resize_file(path, header.size() + frames * bytesPerFrame);
      const auto reader = mustOpen(path);
      ASSERT_TRUE(reader);
      EXPECT_EQ(reader->frameCount(), std::int64_t(frames));
      EXPECT_EQ(reader->container(), "wav");
      float last[2];
      ASSERT_TRUE(reader->seek(std::int64_t(frames) - 1));
      EXPECT_EQ(reader->read(last, 1), 1u);
    }
  }
}

std::string framesByFFprobe(const std::string& path) {
  std::FILE* pipe =
      ::popen(("ffprobe -v error -show_entries stream=duration_ts -of csv=p=0 '" + path + "'").c_str(), "r");
  char text[32] = {};
  if (!std::fgets(text, sizeof text, pipe)) ADD_FAILURE() << "ffprobe says nothing of " << path;
  ::pclose(pipe);
  return text;
}

// SONMERE_LARGE_FILES names a folder with 5 GB of room.
TEST(FileWavWriter, GrowsPastFourGibibytesInPlace) {
  const char* room = std::getenv("SONMERE_LARGE_FILES");
  if (!room) GTEST_SKIP() << "writes 4 GB where SONMERE_LARGE_FILES says";
  const std::string path = std::string(room) + "/sonmere-large.wav";
  std::filesystem::remove(path);
  const auto settings = pcm(32, true);
  constexpr std::uint32_t kBytesPerFrame = 8;
  constexpr std::int64_t kBlock = 1 << 20, kLastPlain = ((std::int64_t(1) << 32) - 87) / kBytesPerFrame;
  const auto writer = mustCreate(path, settings);
  ASSERT_TRUE(writer);
  PCMBuffer buffer(writer->processingFormat(), kBlock);
  std::int64_t frames = 0;
  const auto grow = [&](std::int64_t count) {
    buffer.setFrameLength(std::uint32_t(count));
    for (std::int64_t i = 0; i < count; ++i) buffer.channel(0)[i] = float((frames + i) % 10007);
    const auto written = writer->write(buffer);
    ASSERT_TRUE(written) << written.error().description;
    frames += count;
  };
  const auto check = [&](const char* tag) {
    EXPECT_EQ(framesByFFprobe(path), std::to_string(frames) + "\n");
    const auto reader = mustOpen(path);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->frameCount(), frames);
    float last[2];
    ASSERT_TRUE(reader->seek(frames - 1));
    ASSERT_EQ(reader->read(last, 1), 1u);
    EXPECT_EQ(last[0], float((frames - 1) % 10007));
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.get() == tag[0] && file.get() == tag[1] && file.get() == tag[2]) << tag;
  };
  while (frames + kBlock <= kLastPlain) ASSERT_NO_FATAL_FAILURE(grow(kBlock));
  ASSERT_NO_FATAL_FAILURE(grow(kLastPlain - frames));
  check("RIFF");
  ASSERT_NO_FATAL_FAILURE(grow(1));
  check("RF64");
  ASSERT_NO_FATAL_FAILURE(grow(kBlock));
  ASSERT_TRUE(writer->close());
  check("RF64");
  std::filesystem::remove(path);
}

// Any other program finds them behind the samples, which stay as they are; of a mark that nobody could jump
// to nothing is left.
TEST(WavWriter, MarksStandBehindTheSamples) {
  TemporaryFolder folder;
  for (const std::uint32_t channels : {1u, 2u}) {
    const std::string path = (folder / ("marks" + std::to_string(channels) + ".wav")).string();
    const auto made = createAudioFile(path, pcm(24, false, channels));
    ASSERT_TRUE(made);
    PCMBuffer block((*made)->processingFormat(), 101);  // an odd number of bytes in one channel
    block.setFrameLength(101);
    std::fill_n(block.channel(0), 101, 0.25f);
    ASSERT_TRUE((*made)->write(block));
    for (const auto& mark :
         {AudioFileMark{90, "Zwei — 2"}, {7, "odd"}, {8, "even"}, {50, ""}, {101, "gone"}, {-1, "gone"}})
      (*made)->addMark(mark);
    ASSERT_TRUE((*made)->close());
    const Seen seen = see(path);
    EXPECT_EQ(seen.info.frames, 101);
    EXPECT_EQ(seen.integers.front(), seen.integers[100 * channels]);
    const auto reader = openAudioFile(path);
    ASSERT_TRUE(reader);
    const std::vector<AudioFileMark> expected{{7, "odd"}, {8, "even"}, {50, ""}, {90, "Zwei — 2"}};
    EXPECT_EQ((*reader)->details().marks, expected);
    // The chunks fill the file to its end, as its size says.
    std::ifstream file(path, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    std::uint32_t riff = 0;
    std::memcpy(&riff, bytes.data() + 4, 4);
    EXPECT_EQ(riff + 8, bytes.size());
    EXPECT_EQ(bytes.size() % 2, 0u);
  }
}

// What a broadcast file says of itself stands in front of the samples: it is there while the file grows,
// whatever becomes of its writer. More marks than there is room for come behind them with the close.
TEST(WavWriter, ABroadcastFileSaysWhenItWasHeardAndKeepsItsMarksFromTheMomentOfMarking) {
  TemporaryFolder folder;
  for (const int count : {3, 450}) {
    const std::string path = (folder / (std::to_string(count) + ".wav")).string();
    AudioFileSettings settings = pcm(32, true);
    settings.isBroadcast = true;
    const auto made = createAudioFile(path, settings);
    ASSERT_TRUE(made);
    PCMBuffer block((*made)->processingFormat(), 1000);
    block.setFrameLength(1000);
    std::fill_n(block.channel(0), 1000, 0.25f);
    std::vector<AudioFileMark> marks;
    for (int i = 0; i < count; ++i) marks.push_back({i, "mark number " + std::to_string(i)});
    for (const AudioFileMark& mark : marks) (*made)->addMark(mark);
    (*made)->setOrigin({Date(std::chrono::hours(24)), 123456789012});
    ASSERT_TRUE((*made)->write(block));
    {
      const auto open = openAudioFile(path);
      ASSERT_TRUE(open);
      EXPECT_EQ((*open)->frameCount(), 1000);
      const auto kept = (*open)->details().marks;
      ASSERT_GE(kept.size(), std::min<std::size_t>(marks.size(), 250));
      EXPECT_TRUE(std::equal(kept.begin(), kept.end(), marks.begin()));
    }
    ASSERT_TRUE((*made)->write(block));
    ASSERT_TRUE((*made)->close());
    const auto closed = openAudioFile(path);
    ASSERT_TRUE(closed);
    EXPECT_EQ((*closed)->details().marks, marks);
    EXPECT_EQ((*closed)->frameCount(), 2000);
    EXPECT_EQ(std::system(("ffprobe -v error -show_entries format_tags=time_reference '" + path +
                           "' | grep -q time_reference=123456789012")
                              .c_str()),
              0);
  }
}

}  // namespace
}  // namespace sonmere
