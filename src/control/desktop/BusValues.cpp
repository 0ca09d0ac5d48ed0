#include "control/desktop/BusValues.h"

#include <systemd/sd-bus.h>

#include "base/PrintableText.h"
#include "base/UTF8.h"

namespace sonmere {

namespace {

// The bus carries nothing but UTF-8.
int appendText(sd_bus_message* message, const ControlJSON& value) {
  const std::string text = value.is_string() ? std::string(value) : "";
  return sd_bus_message_append_basic(message, 's', (isUTF8(text) ? text : printable(text)).c_str());
}

int appendTexts(sd_bus_message* message, const ControlJSON& list) {
  int status = sd_bus_message_open_container(message, 'a', "s");
  for (const ControlJSON& each : list)
    if (status >= 0) status = appendText(message, each);
  return status < 0 ? status : sd_bus_message_close_container(message);
}

int readNumbers(sd_bus_message* message, ControlJSON& list) {
  list = ControlJSON::array();
  int status = sd_bus_message_enter_container(message, 'a', "i");
  std::int32_t each = 0;
  while (status > 0 && (status = sd_bus_message_read_basic(message, 'i', &each)) > 0) list.push_back(each);
  return status < 0 ? status : sd_bus_message_exit_container(message);
}

}  // namespace

int appendBusValue(sd_bus_message* message, const char* type, const ControlJSON& value) {
  switch (*type) {
    case 's':
      return appendText(message, value);
    case 'b': {
      const int flag = value.is_boolean() && bool(value);
      return sd_bus_message_append_basic(message, 'b', &flag);
    }
    case 'd': {
      const double number = value.is_number() ? double(value) : 0;
      return sd_bus_message_append_basic(message, 'd', &number);
    }
    case 'i': {
      const std::int32_t number = value.is_number_integer() ? std::int32_t(value) : -1;
      return sd_bus_message_append_basic(message, 'i', &number);
    }
    default:
      return appendTexts(message, value.is_array() ? value : ControlJSON::array());
  }
}

int readBusValue(sd_bus_message* message, const char* type, ControlJSON& value) {
  if (*type == 'a') return readNumbers(message, value);
  union {
    const char* text;
    int flag;
    double number;
    std::int32_t whole;
  } read{};
  const int status = sd_bus_message_read_basic(message, *type, &read);
  if (status < 0) return status;
  if (*type == 's') value = std::string(read.text);
  if (*type == 'b') value = read.flag != 0;
  if (*type == 'd') value = read.number;
  if (*type == 'i') value = read.whole;
  return status;
}

}  // namespace sonmere
