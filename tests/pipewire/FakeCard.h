#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sonmere {

// A card that a program gives to the server, as a driver would: it has no sound, only properties and the ways
// that its sides' sound goes. Gone with the object.
class FakeCard {
 public:
  struct Route {
    bool isOutput = true;
    int device = 0;
    std::string name, portType;
  };
  FakeCard(const std::string& socket, std::map<std::string, std::string> properties,
           std::vector<Route> routes);
  ~FakeCard();

  // Its number on the server; 0 while that is not known.
  std::uint32_t id() const;
  // Somebody plugs in headphones.
  void change(std::vector<Route> routes);

 private:
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace sonmere
