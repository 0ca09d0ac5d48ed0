#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "app/DemoOptions.h"
#include "app/DemoReport.h"
#include "app/EmbeddedPlatform.h"
#include "app/HeardRecording.h"
#include "app/ToneFerryApp.h"
#include "base/Error.h"

namespace sonmere {

// The main job in one go: programs play on the embedded server, are found, tapped, shaped and mixed into
// buses, and every bus with an app on it is recorded. Main thread; works on any runtime.
class Demo {
 public:
  using Done = std::function<void(const DemoReport&)>;

  // Opens the files, makes the folder and tries to write in it; nothing plays yet. Nothing is left behind
  // after an error.
  static Outcome<std::unique_ptr<Demo>> prepare(Runtime& runtime, Log& log, const DemoOptions& options);

  // `done` is called on the main queue once all files are complete, or have had their time to be. An app
  // that can't be routed and a recording that fails end the demo before its time.
  void start(Done done);
  // Ends before its time; `done` is called as at a normal end.
  void finish();
  // The same for a program that is told to quit: a drive that hangs holds `done` up for kQuitTime at most.
  void quit();
  // Whether a file is still open after `done`: a write hangs, and so would whoever waits for it.
  bool isWriting() const;
  // 0 to 1.
  double progress() const;

 private:
  Demo(Runtime& runtime, Log& log, const DemoOptions& options);
  Outcome<void> launch(const DemoOptions::App& app);
  Outcome<void> plugMicrophone();
  void startMicrophone();
  // Switches on what is to be heard, and records what the devices play it on.
  void beginHearing();
  void startMonitor();
  void startSystem();
  // One pair of a device once.
  void record(const OutputWish& place, Date session);
  void addPlugins(std::size_t next);
  Outcome<void> setControls(const DemoOptions::Plugin& plugin, const EffectDetails& details);
  void listen();
  void route();
  std::string routeFailure(const DemoOptions::App& app);
  void begin();
  void setLayout();
  void sampleLevels();
  // Keeps the first problem and ends the demo.
  void fail(const std::string& problem);
  void note(const std::string& problem);
  // The files of one of both kinds of recordings are complete.
  void ended();
  void collect();
  Date sessionDate() const;
  std::optional<DemoReport::File> measure(const std::string& path, int source);
  Outcome<DemoReport::File> read(const std::string& path, int source) const;
  DemoReport::App describe(const DemoOptions::App& app) const;

  AppTapEngine& engine() const { return *app_->appTapEngine(); }
  BusRecordings& recordings() const { return *app_->recordings(); }

  const DemoOptions options_;
  Runtime& runtime_;
  EmbeddedPlatform embedded_;
  MemorySettingsStore settings_;
  std::unique_ptr<ToneFerryApp> app_;

  Done done_;
  std::optional<Duration> playingSince_;
  bool finishing_ = false;
  int ends_ = 0;
  std::string microphone_;                    // UID; empty without one
  std::map<int, std::string> recordedPaths_;  // by source
  struct Heard {
    OutputWish place;
    std::unique_ptr<HeardRecording> recording;
  };
  std::vector<Heard> heard_;
  std::map<std::string, float> peakLevels_;
  DemoReport report_;
  Subscription recordingFailures_;
  ScopedTask levels_;
  ScopedTask end_;
};

}  // namespace sonmere
