#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "audio/effects/ChainLink.h"
#include "audio/effects/ChainPlan.h"
#include "audio/effects/ChainReport.h"

namespace sonmere {

// A chain that runs in a process of its own. Main thread; answers come on the main queue, each once, with an
// error when the process ends first, and none after the helper was destroyed, which ends the process.
class ChainHelper {
 public:
  using Planned = std::function<void(Outcome<ChainReport>)>;
  using States = std::map<int, std::string>;  // by key
  using Saved = std::function<void(Outcome<States>)>;

  virtual ~ChainHelper() = default;
  // Told when the process is gone, and why; the last thing that it tells.
  std::function<void(const std::string& reason)> ended;

  virtual void apply(const ChainPlan& plan, Planned done) = 0;
  virtual void setControl(int key, const std::string& symbol, float value) = 0;
  virtual void setBypassed(int key, bool bypassed) = 0;
  virtual void saveStates(Saved done) = 0;
  virtual std::shared_ptr<ChainLink> link() = 0;
};

}  // namespace sonmere
