#include "editor/export/SourceBitDepth.h"

#include <sndfile.h>

namespace sonmere {

RecordingBitDepth sourceBitDepth(const std::string& path) {
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  if (!file) return RecordingBitDepth::int16;
  sf_close(file);
  switch (info.format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
      return RecordingBitDepth::float32;
    case SF_FORMAT_PCM_24:
      return RecordingBitDepth::int24;
    default:
      return RecordingBitDepth::int16;
  }
}

}  // namespace sonmere
