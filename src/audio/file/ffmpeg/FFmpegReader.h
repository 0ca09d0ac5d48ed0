#pragma once

#include <limits>
#include <optional>
#include <vector>

#include "audio/file/AudioFileReader.h"
#include "audio/file/ffmpeg/FFmpegDetails.h"
#include "audio/file/ffmpeg/FFmpegInput.h"

namespace sonmere {

// Reads the best audio stream of what libavformat knows (AAC in MP4, Matroska, ADTS and so on). Encoder delay
// and padding that the container declares are left out.
class FFmpegReader final : public AudioFileReader {
 public:
  static Outcome<std::unique_ptr<FFmpegReader>> open(FileDescriptor file, const std::string& path);

  const PCMFormat& format() const override { return format_; }
  std::int64_t frameCount() const override { return frameCount_; }
  ChannelLayout layout() const override { return layout_; }
  SampleForm sampleForm() const override;
  const std::string& container() const override { return container_; }
  AudioFileDetails details() const override {
    return stream_ ? ffmpegDetails(*demuxer_, *stream_) : AudioFileDetails();
  }
  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override;
  Outcome<void> seek(std::int64_t frame) override;

 private:
  FFmpegReader(FileDescriptor file, const std::string& path) : input_(std::move(file)), path_(path) {}

  Outcome<void> prepare();
  Outcome<void> openContainer();
  Outcome<void> openDecoder();
  // Decodes until there are samples in `pending_` or the stream has ended.
  Outcome<void> fill();
  Outcome<void> feedDecoder();
  Outcome<void> takeFrame();
  Outcome<void> convert();
  // A stream may change its format on the way; what is delivered keeps that of the first frame.
  bool prepareConverter();
  // Begins anew and drops all that comes before the target: exact for every format, and the first frames
  // after a seek to 0 are those of a file just opened.
  Outcome<void> restart(std::int64_t target);
  // Coarser ones (milliseconds in Matroska) can't tell where a frame lies.
  bool timestampsAreExact() const;
  // Learns from the first decoded frame after a seek how many frames lie before the target.
  void align();
  void dropBeforeTarget();
  bool isMP4() const;
  // Learns from the first decoded frame how many lie before the beginning.
  void learnStart();
  std::int64_t declaredFrames() const;
  // The frame at which an MP4's edit ends inside its last packets; libavformat delivers these whole.
  std::int64_t declaredEnd() const;
  // Frames of the decoded ones that count: the last packet of an MP4 may say that it is shorter.
  int framesOfPacket() const;
  std::string containerName() const;
  std::int64_t toFrames(std::int64_t timestamp) const;
  std::int64_t toTimestamp(std::int64_t frames) const;
  std::size_t pendingFrames() const { return (pending_.size() - taken_) / format_.channels; }

  FFmpegInput input_;
  const std::string path_;
  FFmpegOwned<AVFormatContext> demuxer_;
  FFmpegOwned<AVCodecContext> decoder_;
  FFmpegOwned<SwrContext> converter_;
  FFmpegOwned<AVFrame> frame_;
  FFmpegOwned<AVPacket> packet_;
  AVStream* stream_ = nullptr;  // the demuxer's; null when a seek could not open the file again

  PCMFormat format_;
  std::int64_t frameCount_ = -1;
  std::string container_;
  ChannelLayout layout_;

  // What the converter was made for.
  int converterFormat_ = AV_SAMPLE_FMT_NONE;
  int converterRate_ = 0;
  int converterChannels_ = 0;

  std::vector<float> pending_;                   // decoded samples, interleaved
  std::size_t taken_ = 0;                        // of these, already delivered
  std::int64_t firstTimestamp_ = 0;              // of frame 0, in the stream's time base
  std::int64_t leadIn_ = 0;                      // decoded frames before frame 0
  std::int64_t packetFrames_ = 0;                // of the first packet
  std::int64_t lastTimestamp_ = AV_NOPTS_VALUE;  // of an MP4's last packet, where it is known
  std::int64_t editRounding_ = 0;                // frames by which an MP4's edit may be short of the truth
  std::int64_t position_ = 0;                    // frame that is delivered next
  std::int64_t end_ = std::numeric_limits<std::int64_t>::max();
  std::optional<std::int64_t> target_;  // frame of a seek that awaits its first decoded frame
  std::int64_t toDrop_ = 0;             // frames before the target still to be decoded
  bool ended_ = false;
};

}  // namespace sonmere
