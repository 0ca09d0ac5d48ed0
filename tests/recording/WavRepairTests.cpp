#include "recording/library/WavRepair.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "WavBytes.h"

namespace sonmere {
namespace {

ReadBytesAt bytesOf(const std::string& file) {
  return [&file](std::uint64_t at, std::span<std::uint8_t> bytes) {
    const std::size_t count = at < file.size() ? std::min(bytes.size(), file.size() - std::size_t(at)) : 0;
    if (count > 0) std::memcpy(bytes.data(), file.data() + at, count);
    return count;
  };
}

std::optional<WavRepair> plan(const std::string& head, std::uint64_t fileSize) {
  const auto chunks = readWavChunks(bytesOf(head));
  return chunks ? planWavRepair(*chunks, fileSize) : std::nullopt;
}

std::string repaired(std::string file) {
  const auto repair = plan(file, file.size());
  if (!repair) return "not repaired";
  for (const auto& patch : repair->patches)
    file.replace(patch.at, std::size_t(patch.bytes), little(patch.value, patch.bytes));
  return file;
}

TEST(WavRepair, WritesTheSizesOfTheAudioAndOfTheFile) {
  const std::string whole = repaired(interruptedWav(6000));
  ASSERT_EQ(whole.size(), 6000u);
  EXPECT_EQ(whole.substr(4, 4), little(5992, 4));
  EXPECT_EQ(whole.substr(40, 4), little(5956, 4));
  EXPECT_EQ(whole.substr(44), interruptedWav(6000).substr(44)) << "the audio is untouched";
  EXPECT_EQ(repaired(whole), "not repaired") << "it is whole now";
}

TEST(WavRepair, NeedsAFileOfSomeSizeWithAudioThatTheFieldCanSay) {
  const std::string head = interruptedWav(44);
  EXPECT_FALSE(plan(head, 4104));
  EXPECT_TRUE(plan(head, 4105));
  // 44 bytes of header, then as much as 32 bits can say, and one more.
  const auto largest = plan(head, 44 + 0xFFFFFFFFull);
  ASSERT_TRUE(largest);
  EXPECT_EQ(largest->audioBytes, 0xFFFFFFFFull);
  EXPECT_EQ(largest->patches[1].value, 0xFFFFFFFFull) << "the file's own size is held to its field";
  EXPECT_FALSE(plan(head, 45 + 0xFFFFFFFFull));
  const std::string late = wavFile(wavFormat() + chunk("JUNK", std::string(5000, 'j')), 0, "");
  EXPECT_FALSE(plan(late, late.size())) << "no audio at all";
  EXPECT_TRUE(plan(late, late.size() + 1));
}

TEST(WavRepair, LeavesAloneWhatIsWholeOrNoWavFile) {
  EXPECT_FALSE(plan(wavFile(wavFormat(), 2, ""), 6000)) << "any other size is taken for the truth";
  EXPECT_FALSE(plan(wavFile(wavFormat(), 0xFFFFFFFF, ""), 6000));
  std::string other = interruptedWav(6000);
  other.replace(8, 4, "AVI ");
  EXPECT_FALSE(plan(other, 6000));
  other = interruptedWav(6000);
  other.replace(0, 4, "RIFX");
  EXPECT_FALSE(plan(other, 6000));
  EXPECT_FALSE(plan("RIFF", 6000));
  EXPECT_FALSE(plan("RIFF1234WAVE" + wavFormat(), 6000)) << "no data chunk";
}

TEST(WavRepair, FindsTheAudioBehindPaddedChunksWithinTheFirst64KiB) {
  const std::string odd = wavFile(wavFormat() + chunk("LIST", "odd") + chunk("note", "12345"), 0, "");
  ASSERT_TRUE(plan(odd, 6000));
  EXPECT_EQ(plan(odd, 6000)->audioBytes, 6000 - odd.size());

  const auto withDataAt = [](std::size_t at) {
    const std::string front = wavFile(wavFormat(), 0, "");
    return wavFile(wavFormat() + chunk("JUNK", std::string(at - (front.size() - 8) - 8, 'j')), 0, "");
  };
  const std::string last = withDataAt(65536 - 8), beyond = withDataAt(65536 - 6);
  ASSERT_EQ(last.find("data"), 65536u - 8);
  EXPECT_TRUE(plan(last, 100000));
  EXPECT_FALSE(plan(beyond, 100000));
  EXPECT_TRUE(readWavChunks(bytesOf(beyond))->data) << "its length is told all the same";
}

TEST(WavRepair, ManySmallChunksAreWalkedInWindowsAsInOne) {
  std::string chunks;
  for (int i = 0; i < 2000; ++i) chunks += chunk("note", std::string(std::size_t(i % 30), 'n'));
  const std::string file = wavFile(chunks + wavFormat(), 1920, std::string(1920, 'a'));
  auto whole = beginWavChunks({reinterpret_cast<const std::uint8_t*>(file.data()), file.size()});
  walkWavChunks(*whole, 0, {reinterpret_cast<const std::uint8_t*>(file.data()), file.size()});
  const auto windows = readWavChunks(bytesOf(file));
  ASSERT_TRUE(whole->data && windows->data && windows->format);
  EXPECT_EQ(windows->data->at, whole->data->at);
  EXPECT_EQ(windows->data->at, file.rfind("data"));
  EXPECT_DOUBLE_EQ(wavSeconds(*windows, file.size()), 0.01);
}

TEST(WavRepair, RF64GetsItsLargeSizesAndCanBeOfAnySize) {
  for (const std::uint32_t declared : {0u, 0xFFFFFFFFu}) {
    const std::string file = repaired(rf64File(0, declared, std::string(6000, 'a')));
    EXPECT_EQ(file.substr(4, 4), little(0xFFFFFFFF, 4));
    EXPECT_EQ(file.substr(20, 24), little(file.size() - 8, 8) + little(6000, 8) + little(1500, 8));
    EXPECT_EQ(file.substr(76, 4), little(0xFFFFFFFF, 4));
    EXPECT_EQ(repaired(file), "not repaired");
  }
  const std::string head = rf64File(0, 0xFFFFFFFF, "");
  EXPECT_EQ(plan(head, 10'000'000'080)->audioBytes, 10'000'000'000u);
  EXPECT_FALSE(plan(head, 4104));
  EXPECT_FALSE(plan(rf64File(4000, 0xFFFFFFFF, ""), 6000)) << "the large size was written";
  EXPECT_FALSE(plan(rf64File(0, 4000, ""), 6000)) << "the small one was";
  std::string noFrames = rf64File(0, 0xFFFFFFFF, std::string(6000, 'a'));
  noFrames.replace(noFrames.find("fmt ") + 8 + 12, 2, little(0, 2));
  EXPECT_EQ(repaired(noFrames).substr(28, 16), little(6000, 8) + little(0, 8)) << "nobody knows its frames";
  std::string noSizes = head;
  noSizes.replace(12, 4, "JUNK");
  EXPECT_FALSE(plan(noSizes, 6000));
}

TEST(WavChunks, LengthIsThatOfTheAudioWhichIsThere) {
  const auto seconds = [](const std::string& file) {
    return wavSeconds(*readWavChunks(bytesOf(file)), file.size());
  };
  const std::string second(192000, 'a');
  EXPECT_DOUBLE_EQ(seconds(wavFile(wavFormat(), 192000, second)), 1);
  EXPECT_DOUBLE_EQ(seconds(wavFile(wavFormat(), 96000, second)), 0.5) << "something else follows";
  EXPECT_DOUBLE_EQ(seconds(wavFile(wavFormat(), 0xFFFFFFFF, second)), 1) << "cut off, or never known";
  EXPECT_DOUBLE_EQ(seconds(wavFile(wavFormat(), 0, second)), 0);
  EXPECT_DOUBLE_EQ(seconds(wavFile("", 192000, second)), 0) << "no format";
  EXPECT_DOUBLE_EQ(seconds(rf64File(192000, 0xFFFFFFFF, second)), 1);
  const std::string encoded = chunk("fmt ", little(2, 2) + little(2, 2) + little(48000, 4) +
                                                little(96000, 4) + little(1024, 2) + little(4, 2));
  EXPECT_DOUBLE_EQ(seconds(wavFile(encoded, 192000, second)), 2);
  const std::string zeros = chunk("fmt ", std::string(16, '\0'));
  EXPECT_DOUBLE_EQ(seconds(wavFile(zeros, 192000, second)), 0);
}

}  // namespace
}  // namespace sonmere
