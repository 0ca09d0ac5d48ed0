#pragma once

#include <map>
#include <string>
#include <vector>

#include "control/Control.h"
#include "control/ControlMessage.h"

namespace sonmere {

// A property of an object on the session bus: where its value stands in what the façade answers, and the
// method of the façade that sets it.
struct BusProperty {
  const char* name;
  const char* type;    // as the bus writes it: "s", "b", "d", "i", "as"
  const char* member;  // of the answer
  const char* method = nullptr;
  const char* parameter = nullptr;
};

// A method on the session bus: the method of the façade that it stands for.
struct BusAct {
  const char* name;
  const char* types;                    // of the parameters, "", "s", "i", "ai"
  std::vector<const char*> parameters;  // their names
  const char* method;
  ControlJSON always = ControlJSON::object();  // parameters that nobody is asked for
  const char* result = nullptr;                // the member of the answer that is returned, a text
};

// Objects of one interface: one at a path, or several below it, each by its key.
struct BusKind {
  const char* path;
  const char* interface;
  TopicSet topics;  // that tell changes of their values
  // The parameter of the façade's methods that names the object; null: there is one, which needs no name.
  const char* key;
  bool isKeyNumber;
  std::vector<BusProperty> properties;
  std::vector<BusAct> acts;
  // What the façade answers for each, by key.
  std::map<std::string, ControlJSON> (*values)(Control& control);
};

inline constexpr const char* kBusName = "com.sonmere.Sonmere1";
inline constexpr const char* kBusRoot = "/com/sonmere/Sonmere1";

// All objects that the program has on the session bus.
const std::vector<BusKind>& busKinds();

}  // namespace sonmere
