#include "control/ControlMessage.h"

#include "control/ControlError.h"

namespace sonmere {

namespace {

constexpr const char* kVersion = "2.0";

std::string line(const ControlJSON& message) {
  return message.dump(-1, ' ', false, ControlJSON::error_handler_t::replace) + '\n';
}

// Deep nesting is refused while it is read: writing and destroying would go as deep.
ControlJSON parseFlat(const std::string& text) {
  constexpr int kDeepest = 16;
  bool isTooDeep = false;
  auto parsed = ControlJSON::parse(
      text,
      [&](int depth, ControlJSON::parse_event_t, ControlJSON&) {
        isTooDeep = isTooDeep || depth > kDeepest;
        return !isTooDeep;
      },
      false);
  return isTooDeep ? ControlJSON(ControlJSON::value_t::discarded) : parsed;
}

bool isIdentifier(const ControlJSON& id) { return id.is_string() || id.is_number() || id.is_null(); }

}  // namespace

std::expected<ControlRequest, ControlRefusal> parseControlRequest(const std::string& text) {
  const auto refuse = [](ControlJSON id, int code, const char* message) {
    return std::unexpected(ControlRefusal{std::move(id), code, message});
  };
  const ControlJSON message = parseFlat(text);
  if (message.is_discarded()) return refuse(nullptr, kParseError, "the message is not JSON");
  if (!message.is_object()) return refuse(nullptr, kInvalidRequest, "a request is one JSON object");
  ControlRequest request;
  if (const auto id = message.find("id"); id != message.end()) {
    if (!isIdentifier(*id)) return refuse(nullptr, kInvalidRequest, "an id is a string, a number or null");
    request.id = *id;
  }
  const ControlJSON id = request.id.value_or(nullptr);
  const auto version = message.find("jsonrpc");
  if (version == message.end() || *version != kVersion)
    return refuse(id, kInvalidRequest, "\"jsonrpc\" must be \"2.0\"");
  const auto method = message.find("method");
  if (method == message.end() || !method->is_string())
    return refuse(id, kInvalidRequest, "\"method\" must be a string");
  request.method = *method;
  const auto params = message.find("params");
  if (params == message.end()) return request;
  if (!params->is_object()) return refuse(id, kInvalidParams, "\"params\" must be an object");
  request.params = *params;
  return request;
}

std::string controlResult(const ControlJSON& id, const ControlJSON& result) {
  return line({{"jsonrpc", kVersion}, {"id", id}, {"result", result}});
}

std::string controlFailure(const ControlJSON& id, int code, const std::string& message) {
  return line({{"jsonrpc", kVersion}, {"id", id}, {"error", {{"code", code}, {"message", message}}}});
}

std::string controlNotification(const std::string& method, const ControlJSON& params) {
  return line({{"jsonrpc", kVersion}, {"method", method}, {"params", params}});
}

std::string controlRequestText(int id, const std::string& method, const ControlJSON& params) {
  ControlJSON message{{"jsonrpc", kVersion}, {"id", id}, {"method", method}};
  if (!params.is_null()) message["params"] = params;
  return line(message);
}

int controlErrorCode(const Error& error) {
  if (error.domain != kControlErrorDomain) return kRequestFailed;
  switch (ControlFault(error.code)) {
    case ControlFault::badValue:
      return kInvalidParams;
    case ControlFault::notFound:
      return kAppNotFound;
    case ControlFault::ambiguous:
      return kAppAmbiguous;
    case ControlFault::failed:
      return kRequestFailed;
    case ControlFault::otherProtocol:
      return kOtherProtocol;
  }
  return kRequestFailed;
}

}  // namespace sonmere
