#include "audio/file/AudioFileReader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "FileSupport.h"
#include "audio/file/FFmpegModule.h"
#include "audio/file/ReaderError.h"
#include "support/TemporaryFolder.h"

#ifdef SONMERE_SANITIZED
// libsndfile 1.2 loses the decoder's state when it refuses a damaged Vorbis header.
extern "C" const char* __lsan_default_suppressions() { return "leak:vorbis_info_init\n"; }
#endif

namespace sonmere {
namespace {

// Half a second of 441 Hz at 44100 Hz, stereo, -6 dBFS, by another encoder. Its edit list leaves out 1024
// frames of encoder delay, and the 478 that fill its last packet.
const std::string kM4A = SONMERE_SOURCE_DIR "/tests/audio/fixtures/sine441.m4a";
constexpr std::int64_t kM4AFrames = 22050;

struct Kind {
  const char* file;
  const char* container;
  int format;
  int sampleRate;
  double residualDb;
};

constexpr Kind kKinds[] = {
    {"a.wav", "wav", SF_FORMAT_WAV | SF_FORMAT_PCM_24, 44100, -120},
    {"x.wav", "wav", SF_FORMAT_WAVEX | SF_FORMAT_FLOAT, 96000, -140},
    {"a.aiff", "aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_16, 44100, -80},
    {"a.caf", "caf", SF_FORMAT_CAF | SF_FORMAT_ALAC_24, 48000, -120},
    {"a.flac", "flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_24, 48000, -120},
    {"a.ogg", "ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 44100, -30},
    {"a.opus", "ogg", SF_FORMAT_OGG | SF_FORMAT_OPUS, 48000, -30},
    {"a.mp3", "mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 44100, -30},
};

TEST(FileReader, ReadsEveryContainerInPlaceAndLevel) {
  TemporaryFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.file);
    writeWithLibrary(folder / kind.file, kind.format, kind.sampleRate, 2,
                     tone(441, kind.sampleRate, 60000, 2));
    const auto reader = mustOpen(folder / kind.file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->container(), kind.container);
    EXPECT_EQ(reader->format(), (PCMFormat{double(kind.sampleRate), 2}));
    const auto samples = readAll(*reader);
    EXPECT_EQ(reader->frameCount(), std::int64_t(samples.size() / 2));
    EXPECT_EQ(samples.size(), 120000u);
    for (const std::uint32_t channel : {0, 1}) {
      EXPECT_LT(residualDb(samples, 2, channel, 441, kind.sampleRate, 4000), kind.residualDb);
    }
  }
}

void expectSeeksMatch(const std::string& path, double tolerance) {
  SCOPED_TRACE(path);
  const auto reader = mustOpen(path);
  ASSERT_TRUE(reader);
  const auto whole = readAll(*reader);
  const auto frames = std::int64_t(whole.size() / 2);
  for (const std::int64_t target :
       {frames - 1300, std::int64_t(0), frames / 2, std::int64_t(777), frames, frames + 9}) {
    ASSERT_TRUE(reader->seek(target));
    const auto rest = readAll(*reader);
    const auto expected = std::size_t(2 * std::max<std::int64_t>(frames - target, 0));
    ASSERT_EQ(rest.size(), expected) << "from frame " << target;
    for (std::size_t i = 0; i < expected; ++i) {
      ASSERT_NEAR(rest[i], whole[whole.size() - expected + i], tolerance) << "from frame " << target;
    }
  }
}

TEST(FileReader, SeekDeliversWhatReadingOnWould) {
  TemporaryFolder folder;
  auto samples = tone(441, 44100, 132300, 2);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] *= float(i) / float(samples.size());
  for (const Kind& kind : kKinds) {
    writeWithLibrary(folder / kind.file, kind.format, kind.sampleRate, 2, samples);
    expectSeeksMatch(folder / kind.file, 1e-4);
  }
  expectSeeksMatch(kM4A, 2e-3);
}

TEST(FileReader, AACInM4AKeepsItsPlace) {
  const auto reader = mustOpen(kM4A);
  ASSERT_TRUE(reader);
  EXPECT_EQ(reader->container(), "m4a");
  EXPECT_EQ(reader->format(), (PCMFormat{44100, 2}));
  EXPECT_EQ(reader->frameCount(), kM4AFrames);
  const auto samples = readAll(*reader);
  // Its edit is counted in milliseconds: one more is read, so that nothing is lost to rounding.
  EXPECT_EQ(samples.size(), std::size_t(2 * (kM4AFrames + 45)));
  // The right channel carries the same level as the left one.
  EXPECT_LT(residualDb(samples, 2, 0, 441, 44100, 2048), -30);
}

Error errorOf(const std::string& path) {
  const auto reader = openAudioFile(path);
  if (reader) ADD_FAILURE() << path << " was opened";
  return reader ? Error{} : reader.error();
}

TEST(FileReader, ErrorsNameTheFileAndTheReason) {
  TemporaryFolder folder;
  writeBytes(folder / "empty.wav", "");
  writeBytes(folder / "letter.wav", "Dear reader, this is no sound at all.\n");
  writeBytes(folder / "noise.mp3", std::string(5000, '\x55'));
  writeWithLibrary(folder / "silent.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2, {});
  writeBytes(folder / "list.m3u8", "#EXTM3U\n#EXTINF:10,\n" + kM4A + "\n#EXT-X-ENDLIST\n");
  ASSERT_EQ(::mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
  std::filesystem::create_directory(folder / "folder.wav");
  const struct {
    const char* file;
    const char* reason;
  } cases[] = {
      {"missing.wav", "no such file"},
      {"folder.wav", "is a folder"},
      {"pipe.wav", "not an ordinary file"},
      {"empty.wav", "has no audio"},
      {"silent.wav", "has no audio"},
      {"letter.wav", "not an audio file that can be decoded"},
      {"noise.mp3", "not an audio file that can be decoded"},
      {"list.m3u8", "not an audio file that can be decoded"},
  };
  for (const auto& [file, reason] : cases) {
    const std::string path = folder / file;
    EXPECT_EQ(errorOf(path).description.substr(0, (path + ": " + reason).size()), path + ": " + reason);
  }
}

TEST(FileReader, UnreadableFileIsAPermissionError) {
  TemporaryFolder folder;
  writeBytes(folder / "locked.wav", "x");
  ::chmod((folder / "locked.wav").c_str(), 0);
  // Root may read everything, so be somebody else for a moment.
  const uid_t before = ::geteuid();
  ASSERT_EQ(::seteuid(before == 0 ? 65534 : before), 0);
  const Error error = errorOf(folder / "locked.wav");
  ASSERT_EQ(::seteuid(before), 0);
  EXPECT_EQ(error.code, EACCES);
  EXPECT_NE(error.description.find("locked.wav"), std::string::npos);
}

// As when a drive is pulled out and put in again.
TEST(FileReader, AfterASeekThatFailedTheNextOneBeginsAnew) {
  TemporaryFolder folder;
  const std::string path = folder / "away.m4a", good = bytesOf(kM4A);
  writeBytes(path, good);
  const auto reader = mustOpen(path);
  const auto whole = readAll(*reader);
  writeBytes(path, "");
  for (const std::int64_t target : {0, 10000, 20000}) EXPECT_FALSE(reader->seek(target));
  float frame[2];
  EXPECT_EQ(reader->read(frame, 1).value_or(0), 0u);
  writeBytes(path, good);
  for (const std::int64_t target : {10000, 0}) {
    ASSERT_TRUE(reader->seek(target));
    EXPECT_EQ(readAll(*reader).size(), whole.size() - std::size_t(target) * reader->format().channels);
  }
}

// A WAV whose header fields are replaced: (offset, little-endian value, bytes).
std::string wavWith(const std::string& good, std::size_t offset, std::uint32_t value, int bytes) {
  std::string changed = good;
  for (int i = 0; i < bytes; ++i) changed[offset + std::size_t(i)] = char(value >> (8 * i));
  return changed;
}

TEST(FileReader, HostileHeadersAreRefused) {
  TemporaryFolder folder;
  const std::string path = folder / "hostile.wav";
  writeWithLibrary(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 1, tone(441, 48000, 4800, 1));
  const std::string good = bytesOf(path);
  constexpr std::size_t kChannels = 22, kRate = 24;
  for (const std::string& bad : {wavWith(good, kRate, 0, 4), wavWith(good, kRate, 0xFFFFFFFF, 4),
                                 wavWith(good, kRate, 2000000000, 4), wavWith(good, kChannels, 0, 2),
                                 wavWith(good, kChannels, 65535, 2), wavWith(good, kChannels, 900, 2)}) {
    writeBytes(path, bad);
    EXPECT_EQ(errorOf(path).domain, kReaderErrorDomain);
  }
}

TEST(FileReader, TruncatedFilesGiveWhatIsThere) {
  TemporaryFolder folder;
  const std::string path = folder / "cut.wav";
  writeWithLibrary(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2, tone(441, 48000, 4800, 2));
  std::filesystem::resize_file(path, 44 + 1000 * 4);
  EXPECT_EQ(readAll(*mustOpen(path)).size(), 2000u);
  std::filesystem::resize_file(path, 30);
  EXPECT_FALSE(openAudioFile(path));

  const std::string whole = bytesOf(kM4A);
  writeBytes(folder / "cut.m4a", whole.substr(0, whole.size() / 2));
  EXPECT_EQ(errorOf(folder / "cut.m4a").description,
            std::string(folder / "cut.m4a") + ": not an audio file that can be decoded")
      << "the index at the end of the file is gone";
}

TEST(FileReader, AudioBehindAGoodHeaderIsDecodedBeforeTheFileCountsAsGood) {
  TemporaryFolder folder;
  std::mt19937 random(7);
  std::vector<float> noise(2 * 96000);
  for (float& sample : noise) sample = std::uniform_real_distribution<float>(-0.9f, 0.9f)(random);
  const std::string path = folder / "a.flac";
  writeWithLibrary(path, SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 48000, 2, noise);
  const std::string good = bytesOf(path);
  const auto damagedFrom = [&](std::size_t from) {
    std::string bad = good;
    for (std::size_t i = from; i < bad.size(); ++i) bad[i] = char(random());
    writeBytes(path, bad);
  };
  const std::size_t audio = good.find("\xff\xf8");
  ASSERT_NE(audio, std::string::npos);
  damagedFrom(audio);
  EXPECT_EQ(errorOf(path).description.substr(0, path.size() + 27), path + ": its audio can't be decode");

  damagedFrom(good.size() / 2);
  const auto reader = mustOpen(path);
  ASSERT_TRUE(reader);
  std::vector<float> block(2 * 1000);
  Outcome<std::uint32_t> count = 1;
  std::size_t frames = 0;
  while (count && *count > 0) {
    count = reader->read(block.data(), 1000);
    if (count) frames += *count;
  }
  ASSERT_FALSE(count) << "the damage must not pass for the end";
  EXPECT_NE(count.error().description.find(path), std::string::npos);
  EXPECT_GT(frames, 30000u);
  EXPECT_LT(frames, 60000u);
}

// Reads to the end, jumps about, and reads again. Errors are welcome, anything else is bounded.
void exercise(const std::string& path) {
  const auto reader = openAudioFile(path);
  if (!reader) return;
  const std::uint32_t channels = (*reader)->format().channels;
  ASSERT_LE(channels, 64u);
  std::vector<float> block(1024 * channels);
  for (const std::int64_t target : {-1, 0, 12000, 500}) {
    if (target >= 0 && !(*reader)->seek(target)) continue;
    for (int i = 0; i < 100; ++i) {
      const auto count = (*reader)->read(block.data(), 1024);
      if (!count || *count == 0) break;
      ASSERT_LE(*count, 1024u);
    }
  }
}

TEST(FileReader, DamagedBytesNeverCrash) {
  TemporaryFolder folder;
  std::vector<std::string> originals = {bytesOf(kM4A)};
  for (const Kind& kind : kKinds) {
    writeWithLibrary(folder / kind.file, kind.format, kind.sampleRate, 2,
                     tone(441, kind.sampleRate, 6000, 2));
    originals.push_back(bytesOf(folder / kind.file));
  }
  std::mt19937 random(11);
  for (const std::string& original : originals) {
    for (int round = 0; round < 40; ++round) {
      std::string damaged = original;
      // Headers and indices stand at either end.
      const std::size_t span = round % 2 ? damaged.size() : std::min<std::size_t>(damaged.size(), 200);
      const std::size_t base = round % 4 == 0 ? damaged.size() - span : 0;
      for (int i = 0; i < 8; ++i) damaged[base + random() % span] = char(random());
      writeBytes(folder / "damaged", damaged);
      ASSERT_NO_FATAL_FAILURE(exercise(folder / "damaged"));
    }
  }
}

TEST(FileReader, AModuleThatIsMissingOrThatOthersCouldHavePutThereIsNotLoaded) {
  TemporaryFolder folder;
  const std::string nowhere = folder / "lib";
  const auto missing = loadFFmpegModule({nowhere});
  ASSERT_FALSE(missing);
  EXPECT_TRUE(isFault(missing.error(), ReaderFault::noModule));
  EXPECT_NE(missing.error().description.find(nowhere), std::string::npos);

  writeBytes(folder / "sonmere_ffmpeg.so", "not a library");
  const auto broken = loadFFmpegModule({nowhere, folder.path()});
  ASSERT_FALSE(broken);
  EXPECT_TRUE(isFault(broken.error(), ReaderFault::noModule));
  EXPECT_TRUE(broken.error().description.contains("could not be loaded")) << broken.error().description;
  const std::string place = folder / "sonmere_ffmpeg.so";
  const auto expectDistrusted = [&](const char* why) {
    const auto refused = loadFFmpegModule({folder.path()});
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().description.contains("other users could change it")) << why;
  };
  chmod(place.c_str(), 0666);
  expectDistrusted("a file that anybody may write to");
  chmod(place.c_str(), 0644);
  chmod(folder.path().c_str(), 0777);
  expectDistrusted("a folder that anybody may write to");
  chmod(folder.path().c_str(), 0700);
  if (geteuid() != 0) return;
  ASSERT_EQ(chown(place.c_str(), 12345, 12345), 0);
  expectDistrusted("a file of another user");
}

bool decoderIsLoaded() { return bytesOf("/proc/self/maps").find("libavcodec") != std::string::npos; }

// Runs in a process of its own, where no other test has loaded the module before.
TEST(FileReaderDeathTest, ModuleIsLoadedOnlyWhenAFileNeedsIt) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  TemporaryFolder folder;
  writeWithLibrary(folder / "a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 48000, 2, tone(441, 48000, 4800, 2));
  const auto body = [&] {
    if (decoderIsLoaded()) std::exit(1);
    if (!openAudioFile(folder / "a.wav") || decoderIsLoaded()) std::exit(2);
    if (!openAudioFile(kM4A) || !decoderIsLoaded()) std::exit(3);
    std::exit(0);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace sonmere
