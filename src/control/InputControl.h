#pragma once

#include <optional>
#include <string>

#include "app/ToneFerryApp.h"
#include "control/InputState.h"
#include "control/VolumeRequest.h"

namespace sonmere {

// The microphone, its additional inputs, its sends to Tracks, and the lock on the default input. A device is
// named by its identifier or name, or any part that fits no other. Main thread.
class InputControl {
 public:
  explicit InputControl(ToneFerryApp& app) : app_(app) {}

  InputState state() const;
  // Nothing while the microphone is off.
  std::optional<InputMeters> meters() const;

  // The error says why it does not run; the wish is kept.
  Outcome<InputChange> setEnabled(bool enabled);
  Outcome<InputChange> select(const std::string& device);
  Outcome<InputChange> setVolume(VolumeRequest request);
  // "auto", "1", "2", "stereo", or two channels from 1: "3,4".
  Outcome<InputChange> setChannels(const std::string& channels);
  Outcome<InputChange> setEqualiser(AppEQSettings settings);
  // Nothing turns it off.
  Outcome<InputChange> setLimiter(std::optional<double> ceilingDb);
  // To a Track; nothing ends the send.
  Outcome<InputChange> setSend(int bus, std::optional<float> volume);

  // What is left out stays. Channels count from 1.
  struct ExtraEdit {
    std::optional<std::string> name;
    std::optional<int> channel;
    std::optional<float> volume;
    std::optional<float> pan;
    std::optional<bool> isMuted;
    std::optional<AppEQSettings> equaliser;
  };
  Outcome<InputChange> addExtra(const ExtraEdit& edit);
  Outcome<InputChange> changeExtra(const std::string& input, const ExtraEdit& edit);
  Outcome<InputChange> removeExtra(const std::string& input);

  Outcome<InputChange> setLock(bool enabled);
  Outcome<InputChange> lockTo(const std::string& device);

 private:
  MicPassthroughEngine& mic() const { return *app_.micEngine(); }
  InputPinEngine& lock() const { return *app_.inputPinEngine(); }
  InputChange change(std::vector<std::string> notes = {}) const { return {state(), std::move(notes)}; }
  Outcome<std::string> extraNamed(const std::string& input) const;
  Outcome<void> check(const ExtraEdit& edit) const;
  void apply(const std::string& id, const ExtraEdit& edit, std::vector<std::string>& notes);

  ToneFerryApp& app_;
};

}  // namespace sonmere
