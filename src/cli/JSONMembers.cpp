#include "cli/JSONMembers.h"

#include "cli/Text.h"

namespace sonmere {

bool flag(const ControlJSON& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_boolean() && bool(*found);
}

std::string textOf(const ControlJSON& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? printable(found->get_ref<const std::string&>()) : "";
}

double number(const ControlJSON& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_number() ? double(*found) : 0.0;
}

}  // namespace sonmere
