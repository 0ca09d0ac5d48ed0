#include "audio/file/M4AFileWriter.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <map>

#include "FileSupport.h"
#include "WriterSupport.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

constexpr std::size_t kBlockFrames = 480;

// Writes a tone in blocks; tells how many frames were taken until a write failed.
std::int64_t writeTone(AudioFileWriter& writer, std::size_t frames) {
  const PCMFormat& format = writer.processingFormat();
  const auto samples = tone(441, format.sampleRate, frames, format.channels);
  for (std::size_t at = 0; at < frames; at += kBlockFrames) {
    const std::size_t end = std::min(frames, at + kBlockFrames);
    const std::vector<float> block(samples.begin() + std::ptrdiff_t(at * format.channels),
                                   samples.begin() + std::ptrdiff_t(end * format.channels));
    if (!writer.write(bufferOf(format, block))) return std::int64_t(at);
  }
  return std::int64_t(frames);
}

// The frames that our reader gets, with the tone where it belongs.
std::int64_t framesOf(const std::string& path, std::uint32_t channels = 2) {
  const auto reader = mustOpen(path);
  if (!reader) return -1;
  const auto samples = readAll(*reader);
  const std::int64_t frames = std::int64_t(samples.size() / channels);
  EXPECT_EQ(reader->frameCount(), frames);
  EXPECT_EQ(reader->container(), "m4a");
  if (frames > 8192) {
    for (std::uint32_t channel = 0; channel < channels; ++channel)
      EXPECT_LT(residualDb(samples, channels, channel, 441, reader->format().sampleRate, 2048), -28);
  }
  return frames;
}

std::string outputOf(const std::string& command) {
  std::string output;
  std::FILE* pipe = ::popen(command.c_str(), "r");
  for (int c; (c = std::fgetc(pipe)) != EOF;) output += char(c);
  EXPECT_EQ(::pclose(pipe), 0) << command;
  return output;
}

// What another program makes of the file. It says nothing of damage; it delivers whole packets.
std::int64_t framesByFFmpeg(const std::string& path, std::uint32_t channels = 2) {
  const std::string command = "ffmpeg -v error -i '" + path + "' -f f32le - 2>&1 | wc -c";
  return std::stoll(outputOf(command)) / 4 / channels;
}

// A walk over the boxes that shares nothing with what wrote them.
struct BoxWalk {
  explicit BoxWalk(const std::string& file) : bytes(bytesOf(file)) { walk(0, bytes.size(), ""); }

  std::uint64_t number(std::uint64_t at, int count) const {
    std::uint64_t value = 0;
    for (int i = 0; i < count; ++i) value = value << 8 | std::uint8_t(bytes.at(at + std::uint64_t(i)));
    return value;
  }

  void walk(std::uint64_t at, std::uint64_t end, const std::string& parent) {
    while (at < end) {
      std::uint64_t size = number(at, 4), header = 8;
      const std::string name = parent + bytes.substr(at + 4, 4);
      if (size == 1) size = number(at + 8, 8), header = 16;
      ASSERT_TRUE(size >= header && at + size <= end) << name << " at " << at;
      names.push_back(name);
      starts[name] = at + header;
      if (name == "moov" || name == "moovtrak" || name == "moovtrakmdia" || name == "moovtrakmdiaminf" ||
          name == "moovtrakmdiaminfstbl") {
        walk(at + header, at + size, name);
      }
      at += size;
    }
    ASSERT_EQ(at, end);
  }

  const std::string bytes;
  std::vector<std::string> names;
  std::map<std::string, std::uint64_t> starts;
};

TEST(FileM4AWriter, ClosedFileIsOrdinaryAndAsLongAsWhatWasWritten) {
  TemporaryFolder folder;
  const struct {
    double rate;
    std::uint32_t channels;
    std::size_t frames;
  } takes[] = {{48000, 2, 100000}, {44100, 2, 44100}, {96000, 2, 200001},
               {88200, 1, 50000},  {22050, 1, 30011}, {48000, 2, 1},
               {48000, 2, 1024},   {48000, 2, 1025},  {48000, 2, 3072}};
  for (const auto& take : takes) {
    SCOPED_TRACE(testing::Message() << take.rate << ' ' << take.channels << ' ' << take.frames);
    const std::string path = folder / "take.m4a";
    std::filesystem::remove(path);
    const auto writer = mustCreate(path, aac(take.rate, take.channels));
    ASSERT_TRUE(writer);
    EXPECT_EQ(writeTone(*writer, take.frames), std::int64_t(take.frames));
    const auto closed = writer->close();
    ASSERT_TRUE(closed) << closed.error().description;
    EXPECT_EQ(framesOf(path, take.channels), std::int64_t(take.frames));
    const std::int64_t decoded = framesByFFmpeg(path, take.channels);
    EXPECT_GE(decoded, std::int64_t(take.frames));
    EXPECT_LT(decoded, std::int64_t(take.frames + 1024));

    const BoxWalk boxes(path);
    std::vector<std::string> top;
    std::ranges::copy_if(boxes.names, std::back_inserter(top), [](auto& name) { return name.size() == 4; });
    EXPECT_EQ(top, (std::vector<std::string>{"ftyp", "mdat", "moov"}));
    EXPECT_EQ(std::ranges::count(boxes.names, "moovmvex"), 0);
  }
}

TEST(FileM4AWriter, OtherProgramsSeeRateChannelsAndLength) {
  TemporaryFolder folder;
  const std::string path = folder / "take.m4a";
  const auto writer = mustCreate(path, aac(44100));
  writeTone(*writer, 441000);
  ASSERT_TRUE(writer->close());
  EXPECT_EQ(
      outputOf("ffprobe -v error -show_entries stream=codec_name,profile,sample_rate,channels,start_pts,"
               "duration_ts -of csv=p=0 '" +
               path + "'"),
      "aac,LC,44100,2,0,441000\n");
  const double bitRate = double(std::filesystem::file_size(path)) * 8 / 10;
  EXPECT_GT(bitRate, 180000);
  EXPECT_LT(bitRate, 205000);
}

// The place of each packet, as the tables tell it, against the packets' own sizes: they fill the chunks, and
// chunks stand between fragment headers in what is now one mdat.
TEST(FileM4AWriter, SampleTablesPointAtThePackets) {
  TemporaryFolder folder;
  const std::string path = folder / "take.m4a";
  const auto writer = mustCreate(path, aac());
  writeTone(*writer, 60000);
  ASSERT_TRUE(writer->close());
  const BoxWalk boxes(path);
  const std::string table = "moovtrakmdiaminfstbl";
  const std::uint64_t sizes = boxes.starts.at(table + "stsz"), chunks = boxes.starts.at(table + "stco");
  const std::uint64_t runs = boxes.starts.at(table + "stsc");
  const auto packets = boxes.number(sizes + 8, 4), chunkCount = boxes.number(chunks + 4, 4);
  EXPECT_EQ(packets, (60000 + 1024 + 1023) / 1024u);
  std::uint64_t packet = 0, run = 0;
  for (std::uint64_t chunk = 1; chunk <= chunkCount; ++chunk) {
    const std::uint64_t at = boxes.number(chunks + 4 + 4 * chunk, 4);
    EXPECT_EQ(boxes.bytes.substr(at - 4, 4), "mdat");
    while (run < boxes.number(runs + 4, 4) && boxes.number(runs + 8 + 12 * run, 4) <= chunk) ++run;
    std::uint64_t bytes = 0;
    for (auto left = boxes.number(runs + 8 + 12 * (run - 1) + 4, 4); left > 0; --left)
      bytes += boxes.number(sizes + 12 + 4 * packet++, 4);
    EXPECT_EQ(boxes.number(at - 8, 4), bytes + 8) << "chunk " << chunk;
  }
  EXPECT_EQ(packet, packets);
}

TEST(FileM4AWriter, GrowingFileCanBeReadAtOnceAndLacksLittle) {
  TemporaryFolder folder;
  const std::string path = folder / "take.m4a", copy = folder / "copy.m4a";
  const auto writer = mustCreate(path, aac());
  ASSERT_TRUE(writer);
  for (std::int64_t written = 0; written < 5 * 48000;) {
    written += writeTone(*writer, 9600);
    std::filesystem::copy_file(path, copy, std::filesystem::copy_options::overwrite_existing);
    if (written < 14400) continue;
    const auto reader = mustOpen(copy);
    ASSERT_TRUE(reader);
    const auto found = std::int64_t(readAll(*reader).size() / 2);
    EXPECT_LE(found, written);
    EXPECT_GE(found, written - 48 * 250);
  }
  EXPECT_GT(framesByFFmpeg(copy), 5 * 48000 - 48 * 250);
}

// The index is written behind the fragments before these are given up; a kill may leave any part of it.
TEST(FileM4AWriter, KilledWhileItIsCompletedItCanStillBeRead) {
  TemporaryFolder folder;
  const std::string path = folder / "take.m4a", killed = folder / "killed.m4a";
  const auto writer = mustCreate(path, aac());
  ASSERT_EQ(writeTone(*writer, 96000), 96000);
  const BoxWalk growing(path);
  ASSERT_TRUE(writer->close());
  const BoxWalk closed(path);
  const std::uint64_t free = growing.starts.at("free") - 8, index = closed.starts.at("moov") - 8;
  std::string both = closed.bytes;
  both.replace(free, 16, growing.bytes, free, 16);
  for (const std::uint64_t end : {index, index + 1, index + 8, index + 300, both.size() - 1, both.size()}) {
    SCOPED_TRACE(end - index);
    writeBytes(killed, both.substr(0, end));
    const std::int64_t frames = framesOf(killed);
    EXPECT_GE(frames, 96000);
    EXPECT_LE(frames, 96000 + 1024);
    EXPECT_GE(framesByFFmpeg(killed), 96000);
  }
}

TEST(FileM4AWriter, SeekInAGrowingFileKeepsItsPlace) {
  TemporaryFolder folder;
  const std::string path = folder / "take.m4a";
  const auto writer = mustCreate(path, aac());
  writeTone(*writer, 96000);
  const auto reader = mustOpen(path);
  const auto whole = readAll(*reader);
  ASSERT_EQ(whole.size() % 2048, 0u);
  for (const std::int64_t target : {std::int64_t(40000), std::int64_t(100), std::int64_t(0)}) {
    ASSERT_TRUE(reader->seek(target));
    const auto rest = readAll(*reader);
    ASSERT_EQ(rest.size(), whole.size() - std::size_t(2 * target));
    for (std::size_t i = 0; i < rest.size(); ++i)
      ASSERT_NEAR(rest[i], whole[std::size_t(2 * target) + i], 2e-3) << "from " << target;
  }
}

TEST(FileM4AWriter, WhatIsNotFiniteIsSilentOrClipped) {
  TemporaryFolder folder;
  const auto writer = mustCreate(folder / "take.m4a", aac());
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  std::vector<float> samples(2 * 20000, 0.0f);
  for (std::size_t i = 8000; i < 24000; ++i)
    samples[i] = std::array{std::nanf(""), kInfinity, -kInfinity, 1e30f, -1e30f}[i % 5];
  ASSERT_TRUE(writer->write(bufferOf(writer->processingFormat(), samples)));
  ASSERT_TRUE(writer->close());
  const auto found = readAll(*mustOpen(folder / "take.m4a"));
  EXPECT_EQ(found.size(), samples.size());
  for (const float sample : found) ASSERT_LT(std::abs(sample), 8.0f);
}

TEST(FileM4AWriter, EmptyTakeClosesAndIsPrivate) {
  TemporaryFolder folder;
  const std::string path = folder / "take.m4a";
  const auto writer = mustCreate(path, aac());
  struct stat status {};
  ASSERT_EQ(::stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_TRUE(writer->close());
  EXPECT_FALSE(writer->write(PCMBuffer({48000, 2}, 10)));
  EXPECT_EQ(openAudioFile(path).error().description, path + ": has no audio");
}

TEST(FileM4AWriter, FailedCloseLeavesTheFragments) {
  TemporaryFolder folder;
  const std::string path = folder / "take.m4a";
  {
    const auto writer = mustCreate(path, aac());
    writeTone(*writer, 48000);
    const std::uint64_t bytes = std::filesystem::file_size(path);
    SizeLimit limit(bytes + 100);
    const auto closed = writer->close();
    ASSERT_FALSE(closed);
    EXPECT_EQ(closed.error().code, EFBIG);
    EXPECT_NE(closed.error().description.find(path), std::string::npos);
    EXPECT_EQ(std::filesystem::file_size(path), bytes);
  }
  EXPECT_GE(framesOf(path), 48000 - 12000);
  // One that was cut behind the writer's back is not made to claim what it lacks.
  const std::string cut = folder / "cut.m4a";
  const auto writer = mustCreate(cut, aac());
  writeTone(*writer, 48000);
  std::filesystem::resize_file(cut, std::filesystem::file_size(cut) / 2);
  EXPECT_FALSE(writer->close());
  EXPECT_GT(readAll(*mustOpen(cut)).size() / 2, 12000u);
}

// A whole run takes 200 places; a few are enough to see that nothing was broken.
int cutPoints() {
  const char* count = std::getenv("SONMERE_CUT_POINTS");
  return count ? std::max(1, std::atoi(count)) : 20;
}

// However much room there is, a take ends once, and what found room is read by two programs. With WAV the
// count is exact; with AAC it is whole packets, and lacks at most what had not filled a fragment.
TEST(FileFullDisk, EveryCutPointLeavesAReadableTake) {
  TemporaryFolder folder;
  constexpr std::size_t kFrames = 24000;
  const int cuts = cutPoints();
  for (const bool isAAC : {false, true}) {
    const AudioFileSettings settings = isAAC ? aac() : AudioFileSettings{};
    const std::string whole = folder / "whole", path = folder / (isAAC ? "full.m4a" : "full.wav");
    std::filesystem::remove(whole);
    const auto reference = mustCreate(whole, settings);
    writeTone(*reference, kFrames);
    ASSERT_TRUE(reference->close());
    const std::uint64_t size = std::filesystem::file_size(whole);
    for (int cut = 1; cut <= cuts; ++cut) {
      SCOPED_TRACE(testing::Message() << path << ", cut " << cut);
      std::filesystem::remove(path);
      std::int64_t taken = 0;
      {
        // Not a multiple of anything in the file.
        SizeLimit limit(1000 + (size - 1000) * std::uint64_t(cut) / std::uint64_t(cuts + 1));
        const auto writer = mustCreate(path, settings);
        ASSERT_TRUE(writer);
        taken = writeTone(*writer, kFrames);
        const auto again = writer->write(PCMBuffer(writer->processingFormat(), 0));
        EXPECT_TRUE(!isAAC || taken == std::int64_t(kFrames) || !again) << "a take that failed goes on";
        (void)writer->close();
      }
      const auto reader = openAudioFile(path);
      if (!reader) {
        EXPECT_EQ(reader.error().description, path + ": has no audio");
        EXPECT_LT(taken, 12000);
        continue;
      }
      const auto frames = std::int64_t(readAll(**reader).size() / 2);
      EXPECT_GE(frames, isAAC ? taken - 12000 : taken);
      EXPECT_LE(frames, taken + std::int64_t(kBlockFrames) + 1024);
      const std::int64_t other = framesByFFmpeg(path);
      if (isAAC) {
        EXPECT_GE(other, frames);
        EXPECT_LE(other, frames + 2048);
      } else {
        EXPECT_EQ(other, frames);
        SF_INFO info{};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_TRUE(file);
        EXPECT_EQ(info.frames, frames);
        sf_close(file);
      }
    }
  }
}

}  // namespace
}  // namespace sonmere
