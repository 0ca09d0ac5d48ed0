#include "editor/export/SourceBitDepth.h"

#include "recording/RecordingReader.h"

namespace sonmere {

RecordingBitDepth sourceBitDepth(const std::string& path) {
  const auto reader = openRecording(path);
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
