#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "control/Control.h"
#include "control/ControlMessage.h"

namespace sonmere {

// The façade by names: what each method of the service does. Main thread; the façade outlives it.
class ControlMethods {
 public:
  explicit ControlMethods(Control& control);

  // Called once, now or when the work is done.
  using Reply = std::function<void(Outcome<ControlJSON>)>;
  // False when there is no such method.
  bool call(const std::string& method, const ControlJSON& params, Reply reply);

  std::vector<std::string> names() const;

 private:
  using Handler = std::function<void(const ControlJSON& params, Reply reply)>;
  void addPrograms();
  void addApps();
  void addMixer();
  void addRecordings();
  void addProfiles();

  Control& control_;
  std::map<std::string, Handler, std::less<>> handlers_;
};

}  // namespace sonmere
