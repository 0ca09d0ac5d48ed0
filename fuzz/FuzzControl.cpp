#include "fuzz/FuzzControl.h"

#include <cstdlib>
#include <string>

#include "control/ControlCodec.h"
#include "control/ControlMessage.h"
#include "control/ControlParams.h"
#include "control/MessageFramer.h"

namespace sonmere {

namespace {

constexpr std::size_t kLimit = 4096;  // bytes of a line

void require(bool holds) {
  if (!holds) std::abort();
}

// As the service treats it: whatever comes, the answer is one line of JSON.
void handle(const std::string& line) {
  const auto request = parseControlRequest(line);
  std::string answer;
  if (request) {
    ControlParams params(request->params);
    params.text("app");
    params.numberOrNull("ceilingDb");
    params.wholeOrNull("bus");
    const auto settings = decodeEqualiser(params.object("equaliser"));
    if (settings) encodeControl(*settings);
    const auto finished = params.finish();
    answer = finished ? controlResult(request->id.value_or(nullptr), request->params)
                      : controlFailure(request->id.value_or(nullptr), kInvalidParams,
                                       finished.error().description);
  } else {
    answer = controlFailure(request.error().id, request.error().code, request.error().message);
  }
  require(answer.find('\n') == answer.size() - 1);
  require(!ControlJSON::parse(answer, nullptr, false).is_discarded());
}

}  // namespace

void fuzzControl(const std::uint8_t* data, std::size_t size) {
  // The first byte says how the stream is cut into reads.
  const std::size_t cut = size > 0 ? std::size_t(data[0]) + 1 : 1;
  MessageFramer framer(kLimit);
  for (std::size_t at = 1; at < size; at += cut) {
    const std::size_t length = std::min(cut, size - at);
    framer.append({reinterpret_cast<const char*>(data) + at, length});
    while (const auto line = framer.next()) {
      require(line->size() <= kLimit);
      handle(*line);
    }
    if (framer.hasOverflowed()) return;
  }
}

}  // namespace sonmere
