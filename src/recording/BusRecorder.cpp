#include "recording/BusRecorder.h"

namespace sonmere {

Outcome<std::shared_ptr<BusRecorder>> BusRecorder::create(const RecordingContext& context,
                                                          const Request& request) {
  const auto file =
      RecorderFile::create(context, {kWriterName, kQueueLabel, request.format, request.sampleRate,
                                     request.name, request.folder, request.sessionDate, 2, request.options});
  if (!file) return std::unexpected(file.error());
  auto ring = std::make_shared<RecorderRing>();
  ring->start.line = request.startLine;
  return std::shared_ptr<BusRecorder>(new BusRecorder(context, request.busIndex, *file, std::move(ring)));
}

}  // namespace sonmere
