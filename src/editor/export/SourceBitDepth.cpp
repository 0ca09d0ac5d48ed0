#include "editor/export/SourceBitDepth.h"

#include "audio/file/AudioFileReader.h"

namespace sonmere {

RecordingBitDepth sourceBitDepth(const std::string& path) {
  const auto reader = openAudioFile(path);
  switch (reader ? (*reader)->sampleForm() : SampleForm::coarse) {
    case SampleForm::floating:
      return RecordingBitDepth::float32;
    case SampleForm::fine:
      return RecordingBitDepth::int24;
    case SampleForm::coarse:
      break;
  }
  return RecordingBitDepth::int16;
}

}  // namespace sonmere
