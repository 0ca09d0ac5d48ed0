#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "audio/effects/PluginScope.h"
#include "dsp/AppEQSettings.h"
#include "input/MicChannelMap.h"
#include "recording/RecordingBitDepth.h"
#include "recording/RecordingContext.h"
#include "recording/RecordingLayout.h"
#include "routing/SingleAppTap.h"

namespace sonmere {

// What the demo is to play, and how.
struct DemoOptions {
  struct App {
    std::string id;  // its bundle identifier and name
    std::string file;
    bool loop = false;
    std::optional<int> bus;  // nothing: not routed
    float volume = 1.0f;     // linear
    std::optional<AppEQSettings> equaliser;
    std::optional<double> ceilingDb;  // limiter
    OutputWish output{};              // a physical device, which is recorded, in place of the bus
  };

  struct Plugin {
    PluginScope scope;
    std::string id;
    std::vector<std::pair<std::string, std::string>> values;  // by control
  };

  struct Microphone {
    std::string file;  // what it hears, once
    InputChannelMode mode = InputChannelMode::automatic;
    ChannelPair channels;        // of `custom`, from 0
    std::map<int, float> sends;  // linear, by Track's bus
  };

  // What is heard on the monitor, which plays on the speakers; one of the three.
  struct Monitored {
    PluginScope scope;
    std::optional<float> volume;  // linear; an app's, without one, follows its own
  };

  std::vector<App> apps;
  std::optional<Microphone> microphone;   // plays into the bridge, which is recorded then
  std::vector<Plugin> plugins;            // in the order of their chains
  std::vector<Monitored> monitored;       // with any, what the speakers play is recorded too
  std::optional<RecordingLayout> layout;  // of a recording of the bridge, which there is then
  // The whole system, one of both: what is not routed reaches speakers and bridge, which is recorded then; or
  // Mix Mode, which plays on the speakers. These are recorded with either.
  bool hasSystemAudio = false;
  bool isMixed = false;
  double seconds = 20;
  std::string folder;  // of the recordings
  RecordingBitDepth bitDepth = RecordingBitDepth::int16;
  AudioFileFactory createFile = createAudioFile;
};

}  // namespace sonmere
