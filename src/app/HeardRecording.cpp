#include "app/HeardRecording.h"

#include "dsp/VectorMath.h"

namespace sonmere {

Outcome<std::unique_ptr<HeardRecording>> HeardRecording::create(const RecordingContext& context,
                                                                const RecorderFile::Request& request,
                                                                Source source) {
  auto file = RecorderFile::create(context, request);
  if (!file) return std::unexpected(file.error());
  source();  // from now on
  return std::unique_ptr<HeardRecording>(new HeardRecording(std::move(*file), std::move(source)));
}

void HeardRecording::take() {
  auto samples = std::make_shared<const std::vector<float>>(source_());
  if (samples->size() < 2) return;
  file_->queue().post([file = file_, samples] {
    const auto frames = std::uint32_t(samples->size() / 2);
    PCMBuffer block(file->audio(), frames);
    block.setFrameLength(frames);
    deinterleave(samples->data(), block.channel(0), block.channel(1), frames);
    file->write(block);
  });
}

void HeardRecording::stop(Task done) {
  take();
  RecorderFile::close(file_, true, std::move(done));
}

}  // namespace sonmere
