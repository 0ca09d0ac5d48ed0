#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "RecordingWorld.h"
#include "app/MicEngineRecorderFeed.h"
#include "audio/file/AudioFileReader.h"
#include "recording/RecordingFileName.h"
#include "recording/RecordingLayout.h"
#include "simulated/Signals.h"

namespace sonmere {

inline constexpr const char* kBridgeUID = "ToneFerry_UID";
inline constexpr const char* kInterfaceUID = "Interface";

struct File {
  std::string name, stamp;
  std::uint32_t channels = 0;
  double rate = 0;
  std::vector<float> samples;

  std::vector<float> left() const { return channelOf(samples, 0, channels); }
  std::vector<float> right() const { return channelOf(samples, 1, channels); }
  double seconds() const { return double(samples.size()) / channels / rate; }
};

inline File readFile(const std::string& path) {
  File file;
  const std::string name = std::filesystem::path(path).filename();
  const auto parts = parseRecordingName(name);
  EXPECT_TRUE(parts) << name;
  if (parts) file.name = parts->name, file.stamp = parts->stamp;
  const auto reader = openAudioFile(path);
  if (!reader) return file;
  file.channels = (*reader)->format().channels;
  file.rate = (*reader)->format().sampleRate;
  std::vector<float> block(std::size_t(4096) * file.channels);
  while (const std::uint32_t frames = (*reader)->read(block.data(), 4096).value_or(0))
    file.samples.insert(file.samples.end(), block.begin(),
                        block.begin() + std::ptrdiff_t(frames) * file.channels);
  return file;
}

// A recording world with a microphone, whose bridge can be recorded in every layout.
struct LayoutWorld : RecordingWorld {
  explicit LayoutWorld(std::uint64_t seed = 1, AudioFileFactory factory = createAudioFile)
      : RecordingWorld(seed) {
    host().permissions().set(Permission::microphone, PermissionStatus::authorized);
    startAll();
    mic = std::make_unique<MicPassthroughEngine>(context);
    mic->launch();
    micFeed = std::make_unique<MicEngineRecorderFeed>(*mic);
    recordings.reset();
    recordings = std::make_unique<BusRecordings>(
        RecordingContext{
            runtime, log, settings, notifications, context.folders,
            RecordingHealth::create(runtime, log, notifications, context.folders.applicationSupport),
            std::make_shared<FlushDeadline>(), std::move(factory), &platform},
        *feed, nullptr, micFeed.get());
    choose(RecordingLayout::separateTracks);
  }
  ~LayoutWorld() { recordings.reset(); }

  void choose(RecordingLayout layout) { settings.set(kRecordingLayoutKey, std::string(name(layout))); }
  // An interface with four inputs, on which the mic runs.
  void startMic(SampleSourceFactory signal, double rate = 48000, double clockErrorPpm = 0) {
    SimulatedDeviceDescription device;
    device.uid = device.name = kInterfaceUID;
    device.inputChannels = 4;
    device.outputChannels = 0;
    device.inputSignal = std::move(signal);
    device.nominalRate = rate;
    device.clockErrorPpm = clockErrorPpm;
    host().plug(device);
    settle();
    EXPECT_TRUE(mic->select(kInterfaceUID));
    mic->setChannelMode(InputChannelMode::input1);
    mic->setEnabled(true);
    EXPECT_TRUE(mic->isRunning()) << mic->errorMessage->value_or("");
  }
  SimulatedApp play(const std::string& id, std::unique_ptr<SampleSource> source) {
    SimulatedApp app = launch(id);
    app.play(std::move(source));
    settle();
    return app;
  }
  // By its name without "Sonmere ".
  std::map<std::string, File> stop() {
    std::map<std::string, File> files;
    for (const std::string& path : stopRecordings()) {
      File file = readFile(path);
      files[std::string(recordingDisplayName(file.name))] = file;
    }
    return files;
  }
  std::size_t filesInFolder() const {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
      count += entry.path().extension() == ".wav";
    return count;
  }

  std::unique_ptr<MicPassthroughEngine> mic;
  std::unique_ptr<MicEngineRecorderFeed> micFeed;
};

}  // namespace sonmere
