#include "recording/RatedFileWriter.h"

#include <fmt/format.h>

#include <cmath>

#include "audio/engine/Rates.h"

namespace sonmere {

namespace {

bool isSameRate(double a, double b) { return std::abs(a - b) < kSameRateHz; }

}  // namespace

RatedFileWriter::RatedFileWriter(Log& log, std::shared_ptr<RecorderFile> file)
    : log_(log), file_(std::move(file)) {}

bool RatedFileWriter::write(const PCMBuffer& block, double rate) {
  if (isSameRate(rate, file_->sampleRate())) return flush() && file_->write(block);
  if (converts(rate)) return writeConverted(converter_->push(block));
  lost_.add(block.frameLength());
  return true;
}

bool RatedFileWriter::converts(double rate) {
  if (converter_ && isSameRate(converter_->fromRate(), rate)) return true;
  flush();
  auto made = PushedSampleConverter::make(rate, file_->audio());
  log_.info(fmt::format("{}: capture now {:.0f} Hz, file {:.0f} Hz{}", file_->writerName(), rate,
                        file_->sampleRate(), made ? ", converting" : ""));
  if (made) converter_ = std::move(*made);
  if (!made && !std::exchange(hasToldConverter_, true))
    file_->report(
        {file_->writerName(), 2,
         fmt::format("Can't convert {:.0f} Hz to the recording's {:.0f} Hz.", rate, file_->sampleRate())},
        "conversion failed");
  return bool(made);
}

bool RatedFileWriter::flush() {
  const auto converter = std::exchange(converter_, nullptr);
  return !converter || writeConverted(converter->flush());
}

bool RatedFileWriter::writeConverted(const Outcome<PCMBuffer>& converted) {
  if (!converted) {
    log_.error(file_->writerName() + ": conversion failed: " + converted.error().description);
    return true;
  }
  return converted->frameLength() == 0 || file_->write(*converted);
}

}  // namespace sonmere
