#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/device/Platform.h"
#include "base/Error.h"
#include "base/Log.h"
#include "base/Runtime.h"

namespace sonmere {

// The embedded audio server: a machine inside the process with speakers, microphone, headset and the virtual
// driver, on which audio files play as programs. Main thread.
class EmbeddedPlatform {
 public:
  EmbeddedPlatform(Runtime& runtime, Log& log);
  ~EmbeddedPlatform();

  Platform& platform();
  // What this program itself is called there; no app may be.
  static std::string ownBundleID();

  // A program that is about to play the file, once or over and over. When the file can't be read on, the
  // program falls silent and `failed` is told on the main queue.
  using FileFailure = std::function<void(const Error&)>;
  Outcome<void> launchApp(const std::string& bundleID, const std::string& file, bool loop,
                          FileFailure failed);
  // A microphone of two channels that hears the file from the moment on that somebody listens to it, and then
  // nothing. Its UID.
  Outcome<std::string> plugMicrophone(const std::string& file, FileFailure failed);
  // The devices that a demo can play on: the speakers, which are the default output, and others.
  struct Output {
    const char* uid;
    const char* name;
    int channels;
  };
  static const std::vector<Output>& outputs();
  static std::string nameOf(const std::string& uid);
  // Plugs in those of them that a machine has only for a demo.
  void plugDemoOutputs();
  // From now on: what a device plays on two of its channels, from 0 on. `take` has what came since it was
  // called last, as interleaved stereo at `sampleRate` Hz.
  struct Ear {
    std::function<std::vector<float>()> take;
    double sampleRate = 0;
  };
  Ear listen(const std::string& uid, int left, int right);
  // All programs begin to play.
  void playAll();
  void stopAll();

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace sonmere
