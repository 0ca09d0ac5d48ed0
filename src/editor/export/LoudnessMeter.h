#pragma once

#include <memory>
#include <vector>

#include "audio/file/PCMBuffer.h"
#include "base/Error.h"
#include "editor/export/Loudness.h"

namespace sonmere {

class BlockSource;
class ExportProgress;

// Measures audio as it goes by; of it only the loudness of each tenth of a second is kept. A lone channel
// counts once, as other meters have it. Threads: one at a time.
class LoudnessMeter {
 public:
  // Fails for a rate or a number of channels that no loudness is defined for.
  static Outcome<LoudnessMeter> create(const PCMFormat& format);

  // The buffer has the meter's format.
  Outcome<void> add(const PCMBuffer& buffer);
  // Of all that was added.
  Outcome<Loudness> result() const;

 private:
  struct State;  // the library's
  LoudnessMeter(std::shared_ptr<State> state, const PCMFormat& format);

  std::shared_ptr<State> state_;
  PCMFormat format_;
  std::vector<float> interleaved_;
};

// Measures a source to its end; `progress` may end it early.
Outcome<Loudness> measureLoudness(BlockSource& source, ExportProgress& progress);

}  // namespace sonmere
