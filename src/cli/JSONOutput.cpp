#include "cli/JSONOutput.h"

#include <fmt/format.h>

#include "base/PrintableText.h"

namespace sonmere {

namespace {

std::string text(const OutputJSON& value, int indent) {
  return printableJSON(value.dump(indent, ' ', false, OutputJSON::error_handler_t::replace)) + "\n";
}

}  // namespace

std::string jsonText(const OutputJSON& value) { return text(value, 2); }

void printJSON(const OutputJSON& value) { fmt::print("{}", jsonText(value)); }

void printJSONLine(const OutputJSON& value) { fmt::print("{}", text(value, -1)); }

}  // namespace sonmere
