#include <cstdlib>
#include <filesystem>

#include "FileSupport.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

constexpr std::size_t kFrames = 60000;

// Files that another program has written. Where a kind does not say how much its encoder added, the sound may
// stand up to `latest` frames late, and be longer.
struct Kind {
  const char* file;
  const char* options;
  const char* container;
  int sampleRate;
  double residualDb;
  std::size_t latest = 0;
};

constexpr Kind kKinds[] = {
    {"riff.wav", "", "wav", 44100, -80},
    {"rf64.wav", "-rf64 always -c:a pcm_s24le", "wav", 96000, -120},
    {"large.w64", "-c:a pcm_f32le", "w64", 48000, -120},
    {"big.aiff", "-c:a pcm_s24be", "aiff", 44100, -120},
    {"plain.caf", "-c:a pcm_s16be", "caf", 48000, -80},
    {"alac.caf", "-c:a alac", "caf", 44100, -80},
    {"free.flac", "", "flac", 44100, -80},
    {"vorbis.ogg", "-c:a libvorbis -q:a 6", "ogg", 44100, -30},
    {"voice.opus", "-c:a libopus -b:a 160k", "ogg", 48000, -25},
    {"layer.mp3", "-b:a 192k", "mp3", 44100, -30},
    {"coded.m4a", "-c:a aac -b:a 192k", "m4a", 44100, -30},
    {"pieces.m4a", "-c:a aac -b:a 192k -movflags empty_moov+frag_keyframe -frag_duration 200000", "m4a",
     48000, -28, 1024},
    {"lossless.m4a", "-c:a alac", "m4a", 48000, -80},
    {"stream.aac", "-c:a aac -b:a 192k", "aac", 48000, -28, 1024},
    {"video.mka", "-c:a flac", "matroska", 48000, -80},
};

// Writes the tone as WAV and has it converted; the path of the result.
std::string convertedTone(const TemporaryFolder& folder, const Kind& kind, std::size_t frames = kFrames) {
  const std::string wav = folder / "tone.wav", path = folder / kind.file;
  writeWithLibrary(wav, SF_FORMAT_WAV | SF_FORMAT_FLOAT, kind.sampleRate, 2,
                   tone(441, kind.sampleRate, frames, 2));
  const std::string command =
      "ffmpeg -v error -y -i '" + wav + "' " + kind.options + " '" + path + "' </dev/null";
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
  return path;
}

TEST(FileKinds, OfAnotherProgramAreReadInLengthPlaceAndLevel) {
  TemporaryFolder folder;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.file);
    const auto reader = mustOpen(convertedTone(folder, kind));
    if (!reader) continue;
    EXPECT_EQ(reader->container(), kind.container);
    EXPECT_EQ(reader->format(), (PCMFormat{double(kind.sampleRate), 2}));
    auto samples = readAll(*reader);
    if (kind.latest == 0) {
      // An edit that is counted in milliseconds gives a millisecond of padding, never less than the sound.
      EXPECT_GE(samples.size(), 2 * kFrames);
      EXPECT_LE(samples.size(), 2 * (kFrames + (kind.container == std::string("m4a") ? 48 : 0)));
      samples.resize(2 * kFrames);
      // Some headers count the last packet in full, or in milliseconds.
      EXPECT_NEAR(double(reader->frameCount()), kFrames, kind.container == std::string("caf") ? 4096 : 48);
    } else {
      EXPECT_GE(samples.size(), 2 * kFrames);
      EXPECT_LE(samples.size(), 2 * (kFrames + kind.latest + 2048));
      samples.erase(samples.begin(), samples.begin() + std::ptrdiff_t(2 * kind.latest));
      samples.resize(2 * kFrames);
    }
    for (const std::uint32_t channel : {0, 1})
      EXPECT_LT(residualDb(samples, 2, channel, 441, kind.sampleRate, 4096), kind.residualDb);
  }
}

TEST(FileKinds, TheContentDecidesNotTheName) {
  TemporaryFolder folder;
  for (const Kind& kind : {kKinds[6], kKinds[10]}) {
    const std::string path = convertedTone(folder, kind), renamed = folder / "renamed.wav";
    std::filesystem::rename(path, renamed);
    const auto reader = mustOpen(renamed);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->container(), kind.container);
  }
}

// Reads what there is; a bounded amount, whatever the header says.
void readOn(const std::string& path) {
  const auto reader = openAudioFile(path);
  if (!reader) {
    EXPECT_TRUE(reader.error().description.starts_with(path)) << reader.error().description;
    return;
  }
  std::vector<float> block(std::size_t(4096) * (*reader)->format().channels);
  for (int i = 0; i < 100; ++i) {
    const auto count = (*reader)->read(block.data(), 4096);
    if (!count || *count == 0) return;
    ASSERT_LE(*count, 4096u);
  }
}

// Each word of the headers in turn says nothing, too much, or points back.
TEST(FileKinds, SizesThatLieNeitherHangNorCrash) {
  TemporaryFolder folder;
  const std::string path = folder / "liar";
  for (const int index : {0, 1, 2, 3, 4, 6, 10}) {
    const std::string good = bytesOf(convertedTone(folder, kKinds[index], 6000));
    for (std::size_t at = 4; at + 4 <= std::min<std::size_t>(good.size(), 132); at += 4) {
      for (const std::string& value :
           {std::string(4, '\0'), std::string(4, '\xff'), std::string("\x7f\xff\xff\xff"),
            std::string("\xff\xff\xff\x7f"), std::string("\xf0\xff\xff\xff")}) {
        std::string bad = good;
        bad.replace(at, 4, value);
        writeBytes(path, bad);
        ASSERT_NO_FATAL_FAILURE(readOn(path)) << kKinds[index].file << " at " << at;
      }
    }
  }
}

}  // namespace
}  // namespace sonmere
