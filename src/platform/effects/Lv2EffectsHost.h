#pragma once

#include <memory>
#include <string>

#include "audio/effects/EffectsHost.h"
#include "base/FileDescriptorWatcher.h"
#include "base/Lifetime.h"
#include "base/Log.h"
#include "base/Runtime.h"
#include "platform/effects/HelperProgram.h"
#include "platform/lv2/Lv2World.h"

namespace sonmere {

// The LV2 plug-ins of the system. Their descriptions are read, new ones are tried and chains run in other
// processes; only what a user trusts is loaded into this one. Main thread; runtime and log outlive it.
class Lv2EffectsHost final : public EffectsHost {
 public:
  struct Options {
    std::string helper;   // the program; empty: the one beside this
    std::string cache;    // a file for what was read of the plug-ins; empty: none
    std::string scratch;  // a folder for files that plug-ins make
  };
  // Where the user's own of these are.
  static Options standardOptions();

  Lv2EffectsHost(Runtime& runtime, Log& log, Options options);
  ~Lv2EffectsHost() override;

  void availableEffects(Listed completion) override;
  void describe(const std::string& id, Described completion) override;
  void presetState(const std::string& id, const std::string& preset, PresetRead completion) override;
  std::string fileStamp(const AvailableEffect& effect) override;
  Outcome<std::shared_ptr<Effect>> instantiate(const std::string& id, double sampleRate,
                                               const std::string& state) override;
  Outcome<std::unique_ptr<ChainHelper>> startHelper() override;
  void test(const std::string& id, Tested completion) override;

 private:
  using Answered = std::function<void(const Outcome<HelperProgram::Answer>&)>;
  // Asks a process, which another thread waits for, and answers on the main queue.
  void ask(std::vector<std::string> arguments, Duration limit, Answered answered);

  Runtime& runtime_;
  Log& log_;
  const Options options_;
  const std::shared_ptr<HelperProgram> program_;
  std::unique_ptr<FileDescriptorWatcher> watcher_;  // made with the first chain
  std::shared_ptr<Lv2World> world_;                 // made with the first trusted plug-in
  Lifetime lifetime_;
};

}  // namespace sonmere
