#include "audio/file/ffmpeg/FFmpegReader.h"

#include <fmt/format.h>

#include <sys/stat.h>

#include <algorithm>
#include <mutex>

#include "audio/file/FFmpegModule.h"
#include "audio/file/ReaderError.h"
#include "audio/file/ffmpeg/MovieTimescale.h"

namespace sonmere {

namespace {

// Containers that carry sound. Play lists and the like, which name other files, are not among them.
constexpr const char* kContainers =
    "mov,matroska,aac,ac3,eac3,asf,avi,flv,mpegts,mpeg,mp3,ogg,flac,wav,w64,aiff,au,caf,ape,wv,tta,dts,amr,"
    "tak,mpc,mpc8,shn,gxf,mxf,nut,dsf,iff,rm,voc,loas,latm,truehd,mlp,spdif";

// Decoded and dropped ahead of a seek's target, so that codecs with overlapping frames have settled.
constexpr std::int64_t kPrerollFrames = 8192;

// Beyond any file's end; a header may claim more than can be reckoned with.
constexpr std::int64_t kMostFrames = std::int64_t(1) << 48;

int refuseFurtherFiles(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EPERM);
}

std::string textOf(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(error, text, sizeof text);
  return text;
}

std::unexpected<Error> failure(ReaderFault fault, std::string text) {
  return std::unexpected(readerError(fault, std::move(text)));
}

// A few bytes may ask for gigabytes. What is allowed grows with the largest file: a packet of silence is
// smaller than its entry in the index.
void limitMemory(int fd) {
  static std::mutex mutex;
  static std::size_t limit = std::size_t(48) << 20;
  struct stat status {};
  const std::size_t bytes = ::fstat(fd, &status) == 0 ? std::size_t(status.st_size) : 0;
  const std::lock_guard lock(mutex);
  limit = std::max(limit, (std::size_t(48) << 20) + 8 * bytes);
  av_max_alloc(limit);
}

// Decoders may leave the order of the channels open; the converter wants to know.
struct Layout {
  explicit Layout(const AVChannelLayout& given) {
    if (given.order == AV_CHANNEL_ORDER_UNSPEC) {
      av_channel_layout_default(&value, given.nb_channels);
    } else {
      av_channel_layout_copy(&value, &given);
    }
  }
  explicit Layout(int channels) { av_channel_layout_default(&value, channels); }
  Layout(const Layout&) = delete;
  Layout& operator=(const Layout&) = delete;
  ~Layout() { av_channel_layout_uninit(&value); }

  AVChannelLayout value{};
};

std::optional<ChannelRole> roleOf(AVChannel channel) {
  switch (channel) {
    case AV_CHAN_FRONT_LEFT:
    case AV_CHAN_FRONT_LEFT_OF_CENTER:
    case AV_CHAN_STEREO_LEFT:
    case AV_CHAN_WIDE_LEFT:
      return ChannelRole::left;
    case AV_CHAN_FRONT_RIGHT:
    case AV_CHAN_FRONT_RIGHT_OF_CENTER:
    case AV_CHAN_STEREO_RIGHT:
    case AV_CHAN_WIDE_RIGHT:
      return ChannelRole::right;
    case AV_CHAN_FRONT_CENTER:
    case AV_CHAN_TOP_CENTER:
    case AV_CHAN_TOP_FRONT_CENTER:
      return ChannelRole::centre;
    case AV_CHAN_LOW_FREQUENCY:
    case AV_CHAN_LOW_FREQUENCY_2:
      return ChannelRole::lfe;
    case AV_CHAN_BACK_LEFT:
    case AV_CHAN_SIDE_LEFT:
    case AV_CHAN_SURROUND_DIRECT_LEFT:
    case AV_CHAN_TOP_FRONT_LEFT:
    case AV_CHAN_TOP_SIDE_LEFT:
    case AV_CHAN_TOP_BACK_LEFT:
      return ChannelRole::surroundLeft;
    case AV_CHAN_BACK_RIGHT:
    case AV_CHAN_SIDE_RIGHT:
    case AV_CHAN_SURROUND_DIRECT_RIGHT:
    case AV_CHAN_TOP_FRONT_RIGHT:
    case AV_CHAN_TOP_SIDE_RIGHT:
    case AV_CHAN_TOP_BACK_RIGHT:
      return ChannelRole::surroundRight;
    case AV_CHAN_BACK_CENTER:
    case AV_CHAN_TOP_BACK_CENTER:
      return ChannelRole::surroundCentre;
    default:
      return std::nullopt;
  }
}

ChannelLayout rolesOf(const AVChannelLayout& given) {
  ChannelLayout layout;
  for (int i = 0; i < given.nb_channels; ++i) {
    const auto role = roleOf(av_channel_layout_channel_from_index(&given, unsigned(i)));
    if (!role) return {};
    layout.push_back(*role);
  }
  return layout;
}

}  // namespace

Outcome<std::unique_ptr<FFmpegReader>> FFmpegReader::open(FileDescriptor file, const std::string& path) {
  av_log_set_level(AV_LOG_QUIET);
  limitMemory(file.get());
  std::unique_ptr<FFmpegReader> reader(new FFmpegReader(std::move(file), path));
  if (auto prepared = reader->prepare(); !prepared) return std::unexpected(prepared.error());
  return reader;
}

Outcome<void> FFmpegReader::prepare() {
  if (auto opened = openContainer(); !opened) return opened;
  if (auto opened = openDecoder(); !opened) return opened;
  // The format is known for certain, and the file known to be good, once a frame has been decoded.
  if (auto filled = fill(); !filled) return filled;
  if (pending_.empty()) return failure(ReaderFault::noAudio, fmt::format("{}: has no audio", path_));
  container_ = containerName();
  frameCount_ = declaredFrames();
  const int packets = avformat_index_get_entries_count(stream_);
  if (isMP4() && packets > 0) {
    lastTimestamp_ = avformat_index_get_entry(stream_, packets - 1)->timestamp;
    const std::int64_t parts = movieTimescale(input_.descriptor());
    const auto rate = std::int64_t(format_.sampleRate);
    editRounding_ = parts > 0 && parts % rate != 0 ? (rate + parts - 1) / parts : 0;
  }
  end_ = declaredEnd();
  return {};
}

Outcome<void> FFmpegReader::openContainer() {
  frame_.reset(av_frame_alloc());
  packet_.reset(av_packet_alloc());
  AVFormatContext* context = avformat_alloc_context();
  if (!context || !frame_ || !packet_ || !input_.context()) {
    avformat_free_context(context);
    return failure(ReaderFault::damaged, fmt::format("{}: {}", path_, textOf(AVERROR(ENOMEM))));
  }
  context->pb = input_.context();
  context->io_open = &refuseFurtherFiles;
  context->format_whitelist = av_strdup(kContainers);
  // A failed open frees the context.
  int result = avformat_open_input(&context, nullptr, nullptr, nullptr);
  if (result >= 0) {
    demuxer_.reset(context);
    result = avformat_find_stream_info(context, nullptr);
  }
  if (result >= 0) return {};
  return failure(ReaderFault::notDecodable, fmt::format("{}: not an audio file that can be decoded", path_));
}

Outcome<void> FFmpegReader::openDecoder() {
  const AVCodec* codec = nullptr;
  const int index = av_find_best_stream(demuxer_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
  if (index == AVERROR_DECODER_NOT_FOUND) {
    return failure(ReaderFault::notDecodable, fmt::format("{}: there is no decoder for its audio", path_));
  }
  if (index < 0) return failure(ReaderFault::noAudio, fmt::format("{}: has no audio", path_));
  for (unsigned i = 0; i < demuxer_->nb_streams; ++i) {
    if (int(i) != index) demuxer_->streams[i]->discard = AVDISCARD_ALL;
  }
  stream_ = demuxer_->streams[index];
  const AVCodecParameters& parameters = *stream_->codecpar;
  if (auto checked = checkFormat(path_, parameters.sample_rate, parameters.ch_layout.nb_channels); !checked) {
    return checked;
  }
  decoder_.reset(avcodec_alloc_context3(codec));
  int result = decoder_ ? avcodec_parameters_to_context(decoder_.get(), &parameters) : AVERROR(ENOMEM);
  if (result >= 0) {
    decoder_->pkt_timebase = stream_->time_base;
    decoder_->thread_count = 1;
    result = avcodec_open2(decoder_.get(), codec, nullptr);
  }
  if (result >= 0) return {};
  return failure(ReaderFault::notDecodable,
                 fmt::format("{}: its audio can't be decoded: {}", path_, textOf(result)));
}

SampleForm FFmpegReader::sampleForm() const {
  const AVCodecDescriptor* const codec = avcodec_descriptor_get(decoder_->codec_id);
  if (!codec || !(codec->props & AV_CODEC_PROP_LOSSLESS)) return SampleForm::coarse;
  switch (av_get_packed_sample_fmt(decoder_->sample_fmt)) {
    case AV_SAMPLE_FMT_FLT:
    case AV_SAMPLE_FMT_DBL:
      return SampleForm::floating;
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S64:
      return SampleForm::fine;
    default:
      return SampleForm::coarse;
  }
}

Outcome<std::uint32_t> FFmpegReader::read(float* interleaved, std::uint32_t frames) {
  frames = std::uint32_t(std::clamp<std::int64_t>(end_ - position_, 0, frames));
  std::uint32_t done = 0;
  while (done < frames) {
    if (pendingFrames() == 0) {
      if (auto filled = fill(); !filled) return std::unexpected(filled.error());
      if (pendingFrames() == 0) break;
    }
    const std::size_t count = std::min<std::size_t>(frames - done, pendingFrames());
    const std::size_t samples = count * format_.channels;
    std::copy_n(pending_.data() + taken_, samples, interleaved + std::size_t(done) * format_.channels);
    taken_ += samples;
    done += std::uint32_t(count);
  }
  position_ += done;
  return done;
}

Outcome<void> FFmpegReader::fill() {
  pending_.clear();
  taken_ = 0;
  while (pending_.empty() && !ended_) {
    const int result = avcodec_receive_frame(decoder_.get(), frame_.get());
    Outcome<void> step;
    if (result >= 0) {
      step = takeFrame();
    } else if (result == AVERROR_EOF) {
      ended_ = true;
    } else {
      // The decoder wants more, or could do nothing with what it got: damaged packets are passed over.
      step = feedDecoder();
    }
    if (!step) return step;
  }
  return {};
}

Outcome<void> FFmpegReader::feedDecoder() {
  for (;;) {
    const int result = av_read_frame(demuxer_.get(), packet_.get());
    if (result == AVERROR(EIO)) {
      return failure(ReaderFault::damaged, fmt::format("{}: could not be read: {}", path_, textOf(result)));
    }
    if (result < 0) {
      avcodec_send_packet(decoder_.get(), nullptr);
      return {};
    }
    const bool ours = packet_->stream_index == stream_->index;
    if (ours) avcodec_send_packet(decoder_.get(), packet_.get());
    av_packet_unref(packet_.get());
    if (ours) return {};
  }
}

Outcome<void> FFmpegReader::takeFrame() {
  if (format_.channels == 0) {
    if (auto checked = checkFormat(path_, frame_->sample_rate, frame_->ch_layout.nb_channels); !checked) {
      return checked;
    }
    format_ = {double(frame_->sample_rate), std::uint32_t(frame_->ch_layout.nb_channels)};
    layout_ = rolesOf(frame_->ch_layout);
    learnStart();
  }
  if (target_) align();
  if (auto converted = convert(); !converted) return converted;
  dropBeforeTarget();
  av_frame_unref(frame_.get());
  return {};
}

void FFmpegReader::learnStart() {
  packetFrames_ = frame_->nb_samples;
  if (frame_->pts == AV_NOPTS_VALUE) return;
  firstTimestamp_ = frame_->pts;
  // The edit list of a fragmented file only moves the beginning to time 0.
  if (!isMP4() || frame_->pts >= 0 || toFrames(-frame_->pts) > kPrerollFrames) return;
  leadIn_ = toDrop_ = toFrames(-frame_->pts);
  firstTimestamp_ = 0;
}

Outcome<void> FFmpegReader::convert() {
  if (!prepareConverter()) {
    return failure(ReaderFault::damaged, fmt::format("{}: its samples can't be converted", path_));
  }
  const int room = swr_get_out_samples(converter_.get(), frame_->nb_samples);
  pending_.resize(std::size_t(std::max(room, 0)) * format_.channels);
  auto* out = reinterpret_cast<std::uint8_t*>(pending_.data());
  const int count = swr_convert(converter_.get(), &out, room,
                                const_cast<const std::uint8_t**>(frame_->extended_data), framesOfPacket());
  pending_.resize(std::size_t(std::max(count, 0)) * format_.channels);
  return {};
}

bool FFmpegReader::prepareConverter() {
  const int channels = frame_->ch_layout.nb_channels;
  if (converter_ && converterFormat_ == frame_->format && converterRate_ == frame_->sample_rate &&
      converterChannels_ == channels) {
    return true;
  }
  Layout in(frame_->ch_layout);
  Layout fallback(int(format_.channels));
  AVChannelLayout& out = channels == int(format_.channels) ? in.value : fallback.value;
  SwrContext* made = nullptr;
  swr_alloc_set_opts2(&made, &out, AV_SAMPLE_FMT_FLT, int(format_.sampleRate), &in.value,
                      AVSampleFormat(frame_->format), frame_->sample_rate, 0, nullptr);
  converter_.reset(made);
  converterFormat_ = frame_->format;
  converterRate_ = frame_->sample_rate;
  converterChannels_ = channels;
  return made && swr_init(made) >= 0;
}

Outcome<void> FFmpegReader::seek(std::int64_t frame) {
  const std::int64_t target = std::clamp<std::int64_t>(frame, 0, kMostFrames);
  position_ = target;
  pending_.clear();
  taken_ = 0;
  target_.reset();
  ended_ = false;
  if (!stream_ || target <= kPrerollFrames || !timestampsAreExact()) return restart(target);

  const std::int64_t timestamp = firstTimestamp_ + toTimestamp(target - kPrerollFrames);
  if (av_seek_frame(demuxer_.get(), stream_->index, timestamp, AVSEEK_FLAG_BACKWARD) < 0)
    return restart(target);
  avcodec_flush_buffers(decoder_.get());
  toDrop_ = 0;
  target_ = target;
  return {};
}

Outcome<void> FFmpegReader::restart(std::int64_t target) {
  stream_ = nullptr;
  decoder_.reset();
  demuxer_.reset();
  converter_.reset();
  avio_seek(input_.context(), 0, SEEK_SET);
  toDrop_ = target + leadIn_;
  ended_ = true;
  auto opened = openContainer();
  if (opened) opened = openDecoder();
  // Of a file that can't be read any more nothing half-open is left to the next seek.
  if (!opened) stream_ = nullptr;
  ended_ = !opened;
  return opened;
}

bool FFmpegReader::timestampsAreExact() const {
  const AVRational base = stream_->time_base;
  return base.num == 1 && base.den % int(format_.sampleRate) == 0;
}

void FFmpegReader::align() {
  const std::int64_t position = frame_->pts == AV_NOPTS_VALUE ? 0 : toFrames(frame_->pts - firstTimestamp_);
  toDrop_ = std::max<std::int64_t>(*target_ - position, 0);
  target_.reset();
}

void FFmpegReader::dropBeforeTarget() {
  const std::int64_t frames = std::min<std::int64_t>(toDrop_, std::int64_t(pendingFrames()));
  pending_.erase(pending_.begin(), pending_.begin() + frames * format_.channels);
  toDrop_ -= frames;
}

std::int64_t FFmpegReader::toFrames(std::int64_t timestamp) const {
  return av_rescale_q(timestamp, stream_->time_base, AVRational{1, int(format_.sampleRate)});
}

std::int64_t FFmpegReader::toTimestamp(std::int64_t frames) const {
  return av_rescale_q(frames, AVRational{1, int(format_.sampleRate)}, stream_->time_base);
}

std::int64_t FFmpegReader::declaredFrames() const {
  if (demuxer_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) return -1;
  if (stream_->duration > 0) return std::max<std::int64_t>(toFrames(stream_->duration) - leadIn_, 0);
  if (demuxer_->duration <= 0) return -1;
  return av_rescale(demuxer_->duration, std::int64_t(format_.sampleRate), AV_TIME_BASE);
}

std::int64_t FFmpegReader::declaredEnd() const {
  constexpr std::int64_t kWithinPackets = 3;
  const auto none = std::numeric_limits<std::int64_t>::max();
  if (lastTimestamp_ == AV_NOPTS_VALUE || frameCount_ <= 0) return none;
  const std::int64_t decoded = toFrames(lastTimestamp_ - firstTimestamp_) + packetFrames_;
  const std::int64_t end = frameCount_ + editRounding_;
  // More than padding means that the duration is wrong, not the audio.
  return decoded > end && decoded - end < kWithinPackets * packetFrames_ ? end : none;
}

int FFmpegReader::framesOfPacket() const {
  const int frames = frame_->nb_samples;
  if (lastTimestamp_ == AV_NOPTS_VALUE || frame_->pts != lastTimestamp_) return frames;
  const std::int64_t declared = toFrames(frame_->pkt_duration);
  if (declared <= 0) return frames;
  return int(std::min<std::int64_t>(frames, declared + editRounding_));
}

bool FFmpegReader::isMP4() const { return std::string_view(demuxer_->iformat->name).starts_with("mov"); }

std::string FFmpegReader::containerName() const {
  const std::string names = demuxer_->iformat->name;
  if (!isMP4()) return names.substr(0, names.find(','));
  const int video = av_find_best_stream(demuxer_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  const bool picture = video >= 0 && (demuxer_->streams[video]->disposition & AV_DISPOSITION_ATTACHED_PIC);
  return video < 0 || picture ? "m4a" : "mp4";
}

extern "C" __attribute__((visibility("default"))) AudioFileReader* sonmereOpenFFmpegReader(int fd,
                                                                                           const char* path,
                                                                                           Error* error) {
  auto reader = FFmpegReader::open(FileDescriptor(fd), path);
  if (reader) return reader->release();
  *error = reader.error();
  return nullptr;
}

}  // namespace sonmere
