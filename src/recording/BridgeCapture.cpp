#include "recording/BridgeCapture.h"

#include <fmt/format.h>

#include <filesystem>

#include "audio/device/CoreAudioUtils.h"
#include "recording/RatedFileWriter.h"

namespace sonmere {

namespace {

constexpr std::uint32_t kTapFrames = 4096;
constexpr Duration kRestartDebounce = fromMilliseconds(300);
constexpr Duration kRetryDelay = fromMilliseconds(500);
constexpr int kMostAttempts = 5;
// As long as a drive may stand still.
constexpr double kMostWaitingSeconds = 30;

Error captureError(std::int64_t code, std::string text) {
  return {BridgeCapture::kWriterName, code, std::move(text)};
}

}  // namespace

// What was captured on its way into the file: converted where it must be, on the file's queue.
class BridgeCapture::Intake : public std::enable_shared_from_this<Intake> {
 public:
  Intake(Log& log, std::shared_ptr<RecorderFile> file, std::shared_ptr<const StartLine> startLine)
      : file_(file), writer_(log, std::move(file)) {
    start_.line = std::move(startLine);
  }

  std::int64_t waiting() const { return waiting_.load(std::memory_order_relaxed); }
  std::int64_t lost() const { return lost_.load(std::memory_order_relaxed) + writer_.lostFrames(); }

  // A block of the capture. Its worker's thread; the drive may stand still meanwhile.
  void take(CapturedBlock block) {
    const auto before =
        std::uint32_t(start_.framesBefore(block.hostTime, block.format.sampleRate, block.frames));
    block.frames -= before;
    block.samples += std::size_t(before) * block.format.channels;
    if (block.frames == 0) return;
    if (waiting() > std::int64_t(kMostWaitingSeconds * block.format.sampleRate)) {
      lost_ += block.frames;
      if (!wasOverfull_.exchange(true)) file_->reportOverfull();
      return;
    }
    waiting_ += block.frames;
    file_->queue().post([self = shared_from_this(), stereo = stereoOf(block), frames = block.frames,
                         rate = block.format.sampleRate] {
      self->write(stereo, rate);
      self->waiting_ -= frames;
    });
  }

  // On the file's queue: the filter's rest, and no more.
  void end() {
    if (!isOver_) writer_.flush();
    isOver_ = true;
  }

 private:
  // The first two channels; one is both sides.
  PCMBuffer stereoOf(const CapturedBlock& block) const {
    PCMBuffer stereo({block.format.sampleRate, 2}, block.frames);
    stereo.setFrameLength(block.frames);
    const std::uint32_t channels = block.format.channels, right = channels > 1 ? 1 : 0;
    for (std::uint32_t i = 0; i < block.frames; ++i) {
      stereo.channel(0)[i] = block.samples[std::size_t(i) * channels];
      stereo.channel(1)[i] = block.samples[std::size_t(i) * channels + right];
    }
    return stereo;
  }

  void write(const PCMBuffer& stereo, double rate) {
    if (!isOver_ && !writer_.write(stereo, rate)) isOver_ = true;
  }

  const std::shared_ptr<RecorderFile> file_;
  std::atomic<std::int64_t> waiting_ = 0, lost_ = 0;  // frames
  std::atomic<bool> wasOverfull_ = false;
  StartGate start_;  // the worker's
  // On the file's queue.
  RatedFileWriter writer_;
  bool isOver_ = false;
};

// The capture engine and its restarts. On the engine's queue once it has begun.
class BridgeCapture::Capture : public std::enable_shared_from_this<Capture> {
 public:
  Capture(Runtime& runtime, Log& log, Platform& platform)
      : log_(log),
        hardware_(platform.hardware()),
        queue_(runtime.serialQueue(kEngineQueueLabel)),
        engine_(platform.newCaptureEngine()) {}

  const std::shared_ptr<Queue>& queue() const { return queue_; }

  // The format that will be captured. Before begin(), on the main thread.
  Outcome<AudioStreamFormat> bind() {
    const auto bridge = CoreAudioUtils::deviceForBus(hardware_, kBridgeBus);
    if (!bridge)
      return std::unexpected(captureError(1, "Sonmere Tone Ferry not found. Is the driver installed?"));
    if (const OSStatus status = engine_->setCurrentDevice(*bridge); status != noErr)
      return std::unexpected(
          captureError(status, fmt::format("Couldn't bind capture to bridge (status {}).", status)));
    const AudioStreamFormat format = engine_->inputFormat();
    if (format.sampleRate <= 0 || format.channels == 0)
      return std::unexpected(captureError(1, "Sonmere Tone Ferry has no input. Is the driver installed?"));
    return format;
  }

  Outcome<void> begin(const AudioStreamFormat& format, std::shared_ptr<Intake> intake) {
    intake_ = std::move(intake);
    fileRate_ = format.sampleRate;
    if (const OSStatus status = startWith(format); status != noErr)
      return std::unexpected(
          captureError(status, fmt::format("Couldn't start the capture (status {}).", status)));
    changes_ = engine_->observeConfigurationChange(*queue_, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->scheduleRestart(kRestartDebounce, 1);
    });
    return {};
  }

  void end() {
    isOver_ = true;
    restart_.cancel();
    changes_.cancel();
    engine_->removeTap();
    engine_->stop();
  }

 private:
  OSStatus startWith(const AudioStreamFormat& format) {
    const OSStatus installed = engine_->installTap(
        kTapFrames, format, [intake = intake_](const CapturedBlock& block) { intake->take(block); });
    if (installed != noErr) return installed;
    tapFormat_ = format;
    const OSStatus started = engine_->start();
    if (started != noErr) engine_->removeTap();
    return started;
  }

  // A burst of changes ends in one restart.
  void scheduleRestart(Duration delay, int attempt) {
    restart_ = queue_->postAfter(delay, [weak = weak_from_this(), attempt] {
      if (const auto self = weak.lock()) self->restart(attempt);
    });
  }

  bool isUnchanged() const {
    const auto bridge = CoreAudioUtils::deviceForBus(hardware_, kBridgeBus);
    return engine_->isRunning() && engine_->inputFormat() == tapFormat_ && bridge &&
           engine_->currentDevice().value_or(kAudioObjectUnknown) == *bridge;
  }

  void retry(int attempt) {
    if (attempt < kMostAttempts) scheduleRestart(kRetryDelay, attempt + 1);
  }

  void restart(int attempt) {
    if (isOver_) return;
    if (attempt == 1 && isUnchanged())
      return log_.info("BridgeCapture: configuration change, still running at the same format");
    engine_->removeTap();
    engine_->stop();
    const auto format = bind();
    if (!format) {
      log_.info("BridgeCapture: bridge not available yet, retrying");
      return retry(attempt);
    }
    log_.info(fmt::format(
        "BridgeCapture: restarting after a configuration change, bridge {:.0f} Hz {} ch, file {:.0f} Hz",
        format->sampleRate, format->channels, fileRate_));
    if (const OSStatus status = startWith(*format); status != noErr) {
      log_.error(fmt::format("BridgeCapture: restart failed: {}", status));
      retry(attempt);
    }
  }

  Log& log_;
  AudioHardware& hardware_;
  const std::shared_ptr<Queue> queue_;
  const std::unique_ptr<CaptureEngine> engine_;
  std::shared_ptr<Intake> intake_;
  AudioStreamFormat tapFormat_;
  double fileRate_ = 0;
  Subscription changes_;
  ScopedTask restart_;
  bool isOver_ = false;
};

BridgeCapture::BridgeCapture(Runtime& runtime, std::shared_ptr<RecorderFile> file,
                             std::shared_ptr<Intake> intake, std::shared_ptr<Capture> capture)
    : Recorder(file),
      runtime_(runtime),
      recorderFile_(std::move(file)),
      intake_(std::move(intake)),
      capture_(std::move(capture)) {}

BridgeCapture::~BridgeCapture() {
  if (!isStopped_) capture_->queue()->post([capture = capture_] { capture->end(); });
}

Outcome<std::shared_ptr<BridgeCapture>> BridgeCapture::create(const RecordingContext& context,
                                                              Platform& platform, const Request& request) {
  auto capture = std::make_shared<Capture>(context.runtime, context.log, platform);
  const auto format = capture->bind();
  if (!format) return std::unexpected(format.error());
  auto file =
      RecorderFile::create(context, {kWriterName, kWriteQueueLabel, request.format, format->sampleRate,
                                     request.name, request.folder, request.sessionDate, 2, request.options});
  if (!file) return std::unexpected(file.error());
  auto intake = std::make_shared<Intake>(context.log, *file, request.startLine);
  std::shared_ptr<BridgeCapture> recorder(new BridgeCapture(context.runtime, *file, intake, capture));
  if (const auto begun = capture->begin(*format, intake); !begun) {
    recorder->stop([path = recorder->outputPath()] {
      std::error_code ignored;
      std::filesystem::remove(path, ignored);
    });
    return std::unexpected(begun.error());
  }
  return recorder;
}

std::int64_t BridgeCapture::framesWaiting() const { return intake_->waiting(); }

std::int64_t BridgeCapture::lostFrames() const { return intake_->lost(); }

void BridgeCapture::stop(Task done) {
  if (std::exchange(isStopped_, true)) return;
  capture_->queue()->post([capture = capture_, intake = intake_, file = recorderFile_, &runtime = runtime_,
                           done = std::move(done)] {
    capture->end();
    file->queue().post([intake] { intake->end(); });
    runtime.mainQueue().post([file, done] { RecorderFile::close(file, true, done); });
  });
}

}  // namespace sonmere
