#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "base/Error.h"

namespace sonmere {

using ControlJSON = nlohmann::ordered_json;

// Codes of JSON-RPC 2.0, and this program's own.
enum ControlErrorCode : int {
  kParseError = -32700,
  kInvalidRequest = -32600,
  kMethodNotFound = -32601,
  kInvalidParams = -32602,
  kRequestFailed = -32000,
  kAppNotFound = -32001,
  kAppAmbiguous = -32002,
  kTooManyClients = -32003,
  kOtherProtocol = -32004,
};

// One request of JSON-RPC 2.0. Without an identifier it is a notification, to which nothing is answered.
struct ControlRequest {
  std::optional<ControlJSON> id;
  std::string method;
  ControlJSON params = ControlJSON::object();
};

// Why a text is no request, and the identifier to answer to (null where it could not be read).
struct ControlRefusal {
  ControlJSON id;
  int code = kInvalidRequest;
  std::string message;
};

std::expected<ControlRequest, ControlRefusal> parseControlRequest(const std::string& line);

// Messages as single lines with their end. Text that is no UTF-8 has its wrong bytes replaced.
std::string controlResult(const ControlJSON& id, const ControlJSON& result);
std::string controlFailure(const ControlJSON& id, int code, const std::string& message);
std::string controlNotification(const std::string& method, const ControlJSON& params);
// Null parameters are left out.
std::string controlRequestText(int id, const std::string& method, const ControlJSON& params);

// The code that an error of the façade is answered with.
int controlErrorCode(const Error& error);

}  // namespace sonmere
