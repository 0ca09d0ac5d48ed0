#include "recording/library/MP4Duration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>

namespace sonmere {
namespace {

std::string big(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes - 1; i >= 0; --i) text += i < 8 ? char(value >> (8 * i)) : '\0';
  return text;
}

std::string box(const std::string& type, const std::string& content) {
  return big(8 + content.size(), 4) + type + content;
}

// Of a file that begins so and goes on with the same part, over and over.
double secondsOfMany(const std::string& begin, const std::string& part, std::uint64_t count) {
  const std::uint64_t size = begin.size() + part.size() * count;
  const ReadBytesAt read = [&](std::uint64_t at, std::span<std::uint8_t> bytes) {
    const auto found = std::size_t(at < size ? std::min<std::uint64_t>(bytes.size(), size - at) : 0);
    for (std::size_t i = 0; i < found; ++i, ++at)
      bytes[i] = std::uint8_t(at < begin.size() ? begin[at] : part[(at - begin.size()) % part.size()]);
    return found;
  };
  return mp4Seconds(read, size);
}

double seconds(const std::string& file) {
  return mp4Seconds(
      [&file](std::uint64_t at, std::span<std::uint8_t> bytes) {
        const std::size_t count =
            at < file.size() ? std::min(bytes.size(), file.size() - std::size_t(at)) : 0;
        if (count > 0) std::memcpy(bytes.data(), file.data() + at, count);
        return count;
      },
      file.size());
}

std::string header(const std::string& type, std::uint32_t timescale, std::uint32_t duration) {
  return box(type, big(0, 12) + big(timescale, 4) + big(duration, 4));
}

std::string track(std::uint32_t id, const std::string& kind, std::uint32_t timescale,
                  std::uint32_t duration) {
  return box("trak", box("tkhd", big(0, 12) + big(id, 4)) +
                         box("mdia", header("mdhd", timescale, duration) + box("hdlr", big(0, 8) + kind)));
}

std::string fragment(std::uint32_t trackID, const std::string& rest) {
  return box("moof", box("mfhd", big(0, 8)) + box("traf", box("tfhd", big(0, 4) + big(trackID, 4)) + rest)) +
         box("mdat", std::string(100, 'a'));
}

std::string startedAt(std::uint64_t ticks) { return box("tfdt", big(1u << 24, 4) + big(ticks, 8)); }
std::string run(std::uint32_t samples) { return box("trun", big(1, 4) + big(samples, 4) + big(0, 4)); }

TEST(MP4Duration, IsThatOfTheMovieElseOfItsTrack) {
  const std::string audio = box("ftyp", "M4A ") + box("mdat", std::string(5000, 'a'));
  EXPECT_DOUBLE_EQ(seconds(audio + box("moov", header("mvhd", 1000, 1500))), 1.5);
  const std::string sound = track(1, "soun", 48000, 96000);
  EXPECT_DOUBLE_EQ(seconds(audio + box("moov", header("mvhd", 1000, 0) + sound)), 2);
  EXPECT_DOUBLE_EQ(seconds(audio + box("moov", header("mvhd", 1000, 0xFFFFFFFF) + sound)), 2);
  const std::string large = box("mvhd", big(1u << 24, 4) + big(0, 16) + big(48000, 4) + big(1ull << 40, 8));
  EXPECT_DOUBLE_EQ(seconds(box("moov", large)), double(1ull << 40) / 48000);
  EXPECT_DOUBLE_EQ(seconds(audio), 0) << "the boxes that tell were never written";
}

TEST(MP4Duration, OfAFileThatWasNotCompletedIsWhereItsLastFragmentEnds) {
  const std::string begin =
      box("moov", header("mvhd", 1000, 0) + track(7, "vide", 90000, 0) + track(2, "soun", 48000, 0) +
                      box("mvex", box("trex", big(0, 4) + big(2, 4) + big(1, 4) + big(1024, 4))));
  EXPECT_DOUBLE_EQ(seconds(begin + fragment(2, run(47)) + fragment(2, run(47))), 94 * 1024 / 48000.0);
  EXPECT_DOUBLE_EQ(seconds(begin + fragment(2, startedAt(48000) + run(47)) + fragment(7, run(1000))),
                   1 + 47 * 1024 / 48000.0);
  // Each sample with a duration and a size of its own.
  const std::string each = box("trun", big(0x300, 4) + big(3, 4) + big(1000, 4) + big(9, 4) + big(2000, 4) +
                                           big(9, 4) + big(3000, 4) + big(9, 4));
  EXPECT_DOUBLE_EQ(seconds(begin + fragment(2, each)), 6000 / 48000.0);
  // Fields that may stand in front of the fragment's own duration of a sample.
  const std::string headed = box("tfhd", big(0xB, 4) + big(2, 4) + big(9999, 8) + big(1, 4) + big(512, 4));
  EXPECT_DOUBLE_EQ(seconds(begin + box("moof", box("traf", headed + run(100)))), 51200 / 48000.0);
  const std::string cut = begin + fragment(2, run(47)) + fragment(2, run(47)).substr(0, 30);
  EXPECT_DOUBLE_EQ(seconds(cut), 47 * 1024 / 48000.0);
  constexpr std::uint64_t kFragmentsOfTenHours = 10 * 3600 * 48000ull / (5 * 1024);
  EXPECT_DOUBLE_EQ(secondsOfMany(begin, fragment(2, run(5)), kFragmentsOfTenHours),
                   double(kFragmentsOfTenHours) * 5 * 1024 / 48000);
}

TEST(MP4Duration, ComesToAnEndWhateverTheBoxesSay) {
  EXPECT_EQ(seconds(""), 0);
  EXPECT_EQ(seconds(std::string(100, '\0')), 0) << "boxes that reach to the end";
  EXPECT_EQ(seconds(big(1, 4) + "moov" + big(~0ull, 8) + header("mvhd", 0, 5)), 0);
  EXPECT_EQ(seconds(big(7, 4) + "moov" + header("mvhd", 1000, 5)), 0) << "smaller than its own header";
  const std::string endless = box("trun", big(0x100, 4) + big(0xFFFFFFFF, 4));
  EXPECT_EQ(seconds(box("moov", track(2, "soun", 48000, 0)) + fragment(2, endless)), 0);
  EXPECT_EQ(secondsOfMany("", box("free", ""), 1ull << 50), 0) << "given up";
}

TEST(MP4Duration, OfARealFile) {
  std::ifstream in(SONMERE_SOURCE_DIR "/tests/audio/fixtures/sine441.m4a", std::ios::binary);
  EXPECT_NEAR(seconds(std::string(std::istreambuf_iterator<char>(in), {})), 0.5, 0.001);
}

}  // namespace
}  // namespace sonmere
