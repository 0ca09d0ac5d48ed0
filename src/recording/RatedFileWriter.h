#pragma once

#include <memory>

#include "audio/file/PushedSampleConverter.h"
#include "base/Log.h"
#include "base/RTScalar.h"
#include "recording/RecorderFile.h"

namespace sonmere {

// Brings blocks of any rate into a recorder's file, which has one: what comes at another is converted, and at
// a change what the converter holds back is written first. On the file's queue, except where said.
class RatedFileWriter {
 public:
  RatedFileWriter(Log& log, std::shared_ptr<RecorderFile> file);

  // `rate` in Hz is that of the block, whatever its format says. False once the file can't go on.
  bool write(const PCMBuffer& block, double rate);
  // What a converter holds back.
  bool flush();
  // Frames that could not be converted, at their own rate. Threads: any.
  std::int64_t lostFrames() const { return lost_; }

 private:
  bool converts(double rate);
  bool writeConverted(const Outcome<PCMBuffer>& converted);

  Log& log_;
  const std::shared_ptr<RecorderFile> file_;
  std::unique_ptr<PushedSampleConverter> converter_;
  bool hasToldConverter_ = false;
  RTScalar<std::int64_t> lost_;
};

}  // namespace sonmere
