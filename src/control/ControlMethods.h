#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "control/Control.h"
#include "control/ControlMessage.h"
#include "control/ControlParams.h"
#include "control/ControlPeer.h"

namespace sonmere {

// The façade by names: what each method of the service does. Main thread; the façade outlives it.
class ControlMethods {
 public:
  explicit ControlMethods(Control& control);

  // Called once, now or when the work is done.
  using Reply = std::function<void(Outcome<ControlJSON>)>;
  // False when there is no such method. The peer is the client that calls, for the time of the call.
  bool call(const std::string& method, const ControlJSON& params, ControlPeer& peer, Reply reply);

 private:
  struct Call {
    const ControlJSON& params;
    ControlPeer& peer;
    Reply reply;
  };
  struct Method {
    std::function<void(const Call& call)> run;
    std::vector<ControlParameter> parameters;
  };
  // A method that reads its parameters with `read`, and then, if they are right, does `run` with what it
  // read, the peer and the reply.
  template <class Read, class Run>
  void addLater(const std::string& name, Read read, Run run);
  // The same, where `run` has the answer at once.
  template <class Read, class Run>
  void add(const std::string& name, Read read, Run run);
  // Without parameters.
  template <class Run>
  void add(const std::string& name, Run run);
  ControlJSON describe() const;
  Outcome<std::string> spectrumNamed(const std::string& text) const;
  void addPrograms();
  void addApps();
  void addMixer();
  void addRouting();
  void addInput();
  void addMonitor();
  void addHealth();
  void addDAW();
  void addSystem();
  void addMix();
  void addExtraInputs();
  void addRecordings();
  void addProfiles();
  void addPlugins();
  void addPluginActs();
  void addSettings();
  void addMaintenance();
  void addRules();
  void addUsage();
  ControlJSON usage() const;
  void addSubscriptions();

  Control& control_;
  std::map<std::string, Method, std::less<>> methods_;
};

}  // namespace sonmere
