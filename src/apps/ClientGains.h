#pragma once

#include <map>
#include <string>

namespace sonmere {

// Gains for apps whose sound can only be changed where it passes through the driver. Main thread.
class ClientGains {
 public:
  virtual ~ClientGains() = default;
  // Linear, by bundle identifier; a client without an entry plays as it is.
  virtual const std::map<std::string, float>& gains() const = 0;
  virtual void setClientGains(std::map<std::string, float> gains) = 0;
};

}  // namespace sonmere
