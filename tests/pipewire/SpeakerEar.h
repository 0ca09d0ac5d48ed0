#pragma once

#include <csignal>
#include <vector>

#include "PipeWireWorld.h"

namespace sonmere {

// What the default device has given while the object lives.
struct SpeakerEar {
  // Hears a mark first, of at most half of full scale times `markGain`.
  explicit SpeakerEar(PipeWireWorld& itsWorld, float markGain = 1) : world(itsWorld) {
    KnownSignal mark(1, 99);
    for (float& sample : mark.samples) sample *= markGain;
    mark.write(world.session.file("mark.wav"));
    recorder =
        world.session.launch({"pw-record", "--target", "fake.speaker", "-P", "{ stream.capture.sink=true }",
                              "--format", "f32", world.session.file("speaker.wav")});
    // It hears, once it hears something.
    auto player =
        world.session.launch({"pw-play", "-P", "{ application.name=mark }", world.session.file("mark.wav")});
    Match match;
    isReady = world.untilRecorded(world.session.file("speaker.wav"), mark, 4800, match);
    player.wait();
    isReady = isReady && world.until([&] { return world.processesOf("pw-play").empty(); });
  }
  std::vector<float> heard() {
    recorder.signal(SIGTERM);
    recorder.wait();
    return readSamples(world.session.file("speaker.wav"));
  }
  Match heard(const KnownSignal& signal) { return findSignal(heard(), signal.samples); }

  PipeWireWorld& world;
  SessionProgram recorder;
  bool isReady = false;
};

}  // namespace sonmere
