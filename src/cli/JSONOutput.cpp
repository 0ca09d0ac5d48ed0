#include "cli/JSONOutput.h"

#include <fmt/format.h>

namespace sonmere {

namespace {

std::string text(const OutputJSON& object, int indent) {
  OutputJSON all{{"version", kOutputVersion}};
  all.update(object);
  return printableJSON(all.dump(indent, ' ', false, OutputJSON::error_handler_t::replace)) + "\n";
}

}  // namespace

std::string jsonText(const OutputJSON& object) { return text(object, 2); }
std::string jsonLineText(const OutputJSON& object) { return text(object, -1); }

void printJSON(const OutputJSON& object) { fmt::print("{}", jsonText(object)); }
void printJSONLine(const OutputJSON& object) { fmt::print("{}", jsonLineText(object)); }

}  // namespace sonmere
