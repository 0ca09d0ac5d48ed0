#pragma once

#include <map>
#include <string>
#include <vector>

#include "audio/engine/EngineContext.h"
#include "base/Observable.h"
#include "base/TaskToken.h"
#include "dsp/AppEQSettings.h"
#include "input/MicExtraSource.h"
#include "input/MicRenderState.h"

namespace sonmere {

// The additional inputs of the selected device: what is stored, and what the capture mixes. Main thread.
class MicExtras {
 public:
  MicExtras(EngineContext& context, std::shared_ptr<MicRenderState> state);
  // Stores what has not been stored yet.
  ~MicExtras();

  OwnedObservable<std::vector<MicExtraSource>, MicExtras> extraSources;

  // Loads the sources of this device in place of those there are.
  void load(const std::string& deviceUID);
  // Filters are computed for this rate in Hz; their delays begin anew.
  void setCaptureRate(double rate);

  // Adds one on that channel and returns its identifier.
  std::string add(const std::string& label, int channel);
  // These return false when there is no such source.
  bool remove(const std::string& id);
  bool change(const MicExtraSource& source);
  bool setEqualiser(const std::string& id, const AppEQSettings& settings);
  AppEQSettings equaliserOf(const std::string& id) const;
  // From the capture's next block on it writes the source into this ring, or into none when null.
  void setRecorderRing(const std::string& id, std::shared_ptr<RecorderRing> ring);
  // 0 to 1 and beyond, linear; 0 for one without a meter.
  float level(const std::string& id) const;

 private:
  void changed();
  void store();
  void publish();
  void assignSlots();

  EngineContext& context_;
  const std::shared_ptr<MicRenderState> state_;
  std::string deviceUID_;
  double captureRate_ = 0;
  std::map<std::string, int> slots_;  // by source
  std::map<std::string, std::shared_ptr<RecorderRing>> extraRecordersBySourceID_;
  ScopedTask persistExtraDebounce_;
  bool isUnstored_ = false;
};

}  // namespace sonmere
