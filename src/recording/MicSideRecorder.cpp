#include "recording/MicSideRecorder.h"

namespace sonmere {

Outcome<std::shared_ptr<MicSideRecorder>> MicSideRecorder::create(const RecordingContext& context,
                                                                  const Request& request) {
  const int channels = request.channels >= 2 ? 2 : 1;
  const auto file = RecorderFile::create(
      context, {kWriterName, kQueueLabel, RecordingFormat::wav, request.fileRate, request.name,
                request.folder, request.sessionDate, std::uint32_t(channels), request.options, true});
  if (!file) return std::unexpected(file.error());
  auto ring = std::make_shared<RecorderRing>(channels);
  ring->noteRate(request.sourceRate);
  ring->start.line = request.startLine;
  return std::shared_ptr<MicSideRecorder>(new MicSideRecorder(context, *file, std::move(ring)));
}

}  // namespace sonmere
