#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "Signals.h"
#include "VirtualMachine.h"
#include "audio/file/AudioFileWriter.h"
#include "support/TemporaryFolder.h"

namespace sonmere {
namespace {

std::string writeTone(const TemporaryFolder& folder, double hertz, std::uint32_t frames) {
  const std::string path = folder / "tone.wav";
  AudioFileSettings settings;
  settings.sampleRate = 44100;
  settings.bitDepth = 32;
  settings.isFloat = true;
  const auto writer = createAudioFile(path, settings).value();
  PCMBuffer buffer(writer->processingFormat(), frames);
  for (std::uint32_t i = 0; i < frames; ++i)
    for (std::uint32_t channel = 0; channel < 2; ++channel)
      buffer.channel(channel)[i] = 0.5f * float(std::sin(2 * std::numbers::pi * hertz * i / 44100));
  buffer.setFrameLength(frames);
  EXPECT_TRUE(writer->write(buffer));
  EXPECT_TRUE(writer->close());
  return path;
}

TEST(SimulatedFileSource, PlaysAFileAtTheDevicesRateAndKeepsItsPlace) {
  const TemporaryFolder folder;
  const std::string path = writeTone(folder, 1000, 3 * 44100);
  VirtualMachine machine;
  machine.host().plug(speakers("A"));
  SimulatedApp app = machine.host().launchApp(program("app"));
  const auto ear = machine.host().hear("A");
  app.play(SampleSources::file(path).value());
  machine.run(1);
  EXPECT_LT(residueDb(channelOf(ear->samples(), 0, 2), 1000, 1000, 48000), -80);
  ASSERT_TRUE(machine.host().setNominalRate("A", 96000));
  const std::uint64_t before = ear->frameCount();
  machine.run(1);
  EXPECT_LT(residueDb(channelOf(ear->samplesFrom(before), 0, 2), 1000, 1000, 96000), -80);
  EXPECT_TRUE(app.isPlaying());
  machine.run(1.1);
  EXPECT_FALSE(app.isPlaying()) << "three seconds of file have passed";

  app.play(SampleSources::file(path, true).value());
  machine.run(10);
  EXPECT_TRUE(app.isPlaying());
}

TEST(SimulatedFileSource, SaysWhichFileCannotBePlayed) {
  const auto source = SampleSources::file("/nowhere/song.wav");
  ASSERT_FALSE(source);
  EXPECT_NE(source.error().description.find("song.wav"), std::string::npos);
}

}  // namespace
}  // namespace sonmere
