#include "audio/file/SndFileReader.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#include "audio/file/ReaderError.h"

namespace sonmere {

// The descriptor as libsndfile reads it. Handed over directly (sf_open_fd) it would be closed when the format
// is unknown, before another decoder can try.
class SndFileInput {
 public:
  explicit SndFileInput(FileDescriptor file) : file_(std::move(file)) {}

  FileDescriptor release() { return std::move(file_); }
  static SF_VIRTUAL_IO callbacks() { return {&length, &seek, &read, nullptr, &tell}; }

 private:
  static SndFileInput& of(void* self) { return *static_cast<SndFileInput*>(self); }

  static sf_count_t length(void* self) {
    struct stat status {};
    return ::fstat(of(self).file_.get(), &status) == 0 ? status.st_size : -1;
  }

  static sf_count_t seek(sf_count_t offset, int whence, void* self) {
    return ::lseek(of(self).file_.get(), offset, whence);
  }

  static sf_count_t tell(void* self) { return ::lseek(of(self).file_.get(), 0, SEEK_CUR); }

  static sf_count_t read(void* bytes, sf_count_t count, void* self) {
    sf_count_t done = 0;
    while (done < count) {
      const ssize_t result =
          ::read(of(self).file_.get(), static_cast<char*>(bytes) + done, std::size_t(count - done));
      if (result < 0 && errno == EINTR) continue;
      if (result <= 0) break;
      done += result;
    }
    return done;
  }

  FileDescriptor file_;
};

namespace {

constexpr std::uint32_t kBlockFrames = 4096;
constexpr std::int64_t kUnknownBytes = 0x7FFF0000;

std::string containerName(int format) {
  switch (format & SF_FORMAT_TYPEMASK) {
    case SF_FORMAT_WAV:
    case SF_FORMAT_WAVEX:
    case SF_FORMAT_RF64:
      return "wav";
    case SF_FORMAT_OGG:
      return "ogg";
    case SF_FORMAT_MPEG:
      return "mp3";
    default:
      break;
  }
  SF_FORMAT_INFO info{};
  info.format = format & SF_FORMAT_TYPEMASK;
  sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info);
  return info.extension ? info.extension : "unknown";
}

std::optional<ChannelRole> roleOf(int channel) {
  switch (channel) {
    case SF_CHANNEL_MAP_LEFT:
    case SF_CHANNEL_MAP_FRONT_LEFT:
    case SF_CHANNEL_MAP_FRONT_LEFT_OF_CENTER:
      return ChannelRole::left;
    case SF_CHANNEL_MAP_RIGHT:
    case SF_CHANNEL_MAP_FRONT_RIGHT:
    case SF_CHANNEL_MAP_FRONT_RIGHT_OF_CENTER:
      return ChannelRole::right;
    case SF_CHANNEL_MAP_MONO:
    case SF_CHANNEL_MAP_CENTER:
    case SF_CHANNEL_MAP_FRONT_CENTER:
    case SF_CHANNEL_MAP_TOP_CENTER:
    case SF_CHANNEL_MAP_TOP_FRONT_CENTER:
      return ChannelRole::centre;
    case SF_CHANNEL_MAP_LFE:
      return ChannelRole::lfe;
    case SF_CHANNEL_MAP_REAR_LEFT:
    case SF_CHANNEL_MAP_SIDE_LEFT:
    case SF_CHANNEL_MAP_TOP_FRONT_LEFT:
    case SF_CHANNEL_MAP_TOP_REAR_LEFT:
      return ChannelRole::surroundLeft;
    case SF_CHANNEL_MAP_REAR_RIGHT:
    case SF_CHANNEL_MAP_SIDE_RIGHT:
    case SF_CHANNEL_MAP_TOP_FRONT_RIGHT:
    case SF_CHANNEL_MAP_TOP_REAR_RIGHT:
      return ChannelRole::surroundRight;
    case SF_CHANNEL_MAP_REAR_CENTER:
    case SF_CHANNEL_MAP_TOP_REAR_CENTER:
      return ChannelRole::surroundCentre;
    default:
      return std::nullopt;
  }
}

}  // namespace

SndFileReader::SndFileReader(std::unique_ptr<SndFileInput> input, SNDFILE* sound, const SF_INFO& info,
                             const std::string& path)
    : input_(std::move(input)),
      sound_(sound),
      path_(path),
      format_{double(info.samplerate), std::uint32_t(info.channels)},
      frameCount_(info.frames == SF_COUNT_MAX ? -1 : info.frames),
      container_(containerName(info.format)),
      fileFormat_(info.format),
      codec_(info.format & SF_FORMAT_SUBMASK) {}

SndFileReader::~SndFileReader() { sf_close(sound_); }

Outcome<std::unique_ptr<AudioFileReader>> SndFileReader::open(FileDescriptor& file, const std::string& path) {
  auto input = std::make_unique<SndFileInput>(std::move(file));
  SF_VIRTUAL_IO io = SndFileInput::callbacks();
  SF_INFO info{};
  SNDFILE* sound = sf_open_virtual(&io, SFM_READ, &info, input.get());
  if (!sound) {
    file = input->release();
    return std::unexpected(readerError(ReaderFault::notDecodable,
                                       fmt::format("{}: not an audio file that can be decoded", path)));
  }
  // libsndfile 1.2 takes the floats of a W64 for integers.
  if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_W64) {
    sf_close(sound);
    file = input->release();
    return std::unexpected(readerError(ReaderFault::notDecodable, fmt::format("{}: is a W64 file", path)));
  }
  std::unique_ptr<SndFileReader> reader(new SndFileReader(std::move(input), sound, info, path));
  if (auto checked = checkFormat(path, info.samplerate, info.channels); !checked) {
    return std::unexpected(checked.error());
  }
  if (info.frames <= 0) {
    return std::unexpected(readerError(ReaderFault::noAudio, fmt::format("{}: has no audio", path)));
  }
  if (auto decoded = reader->decodeFirstBlock(); !decoded) return std::unexpected(decoded.error());
  return reader;
}

// Of some formats the order is fixed, and the library does not tell it.
ChannelLayout SndFileReader::layout() const {
  if (container_ == "ogg") return vorbisLayout(format_.channels);
  if (container_ == "flac") return usualLayout(format_.channels);
  std::vector<int> map(format_.channels);
  const auto bytes = int(map.size() * sizeof(int));
  if (!sf_command(sound_, SFC_GET_CHANNEL_MAP_INFO, map.data(), bytes)) return {};
  ChannelLayout layout;
  for (const int channel : map) {
    const auto role = roleOf(channel);
    if (!role) return {};
    layout.push_back(*role);
  }
  return layout;
}

SampleForm SndFileReader::sampleForm() const {
  switch (codec_) {
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
      return SampleForm::floating;
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_ALAC_32:
      return SampleForm::fine;
    default:
      return SampleForm::coarse;
  }
}

// The library reads what is there, and keeps the difference for its log: "data : 576000 (should be 299898)".
std::int64_t SndFileReader::missingFrames() const {
  std::array<char, 8192> log{};
  sf_command(sound_, SFC_GET_LOG_INFO, log.data(), int(log.size()));
  const std::string text = log.data();
  for (const char* const label : {"data :", "SSND :", "Data Size   :"}) {
    long long declared = 0, present = 0;
    const std::size_t at = text.find(label);
    if (at == std::string::npos || std::sscanf(text.c_str() + at + std::strlen(label),
                                               "%lld (should be %lld)", &declared, &present) != 2)
      continue;
    // A writer to a pipe does not know the size, and says the largest.
    if (present <= 0 || declared <= present || declared >= kUnknownBytes) return 0;
    return std::int64_t(double(declared - present) * double(frameCount_) / double(present));
  }
  return 0;
}

Outcome<void> SndFileReader::decodeFirstBlock() {
  first_.resize(std::size_t(kBlockFrames) * format_.channels);
  const auto count = decode(first_.data(), kBlockFrames);
  if (!count || *count == 0) {
    return std::unexpected(readerError(
        ReaderFault::damaged, fmt::format("{}: its audio can't be decoded: {}", path_,
                                          damage_.empty() ? "it ends before its first frame" : damage_)));
  }
  first_.resize(std::size_t(*count) * format_.channels);
  return {};
}

Outcome<std::uint32_t> SndFileReader::read(float* interleaved, std::uint32_t frames) {
  if (firstTaken_ == first_.size()) return decode(interleaved, frames);
  const std::size_t count = std::min(std::size_t(frames) * format_.channels, first_.size() - firstTaken_);
  std::copy_n(first_.data() + firstTaken_, count, interleaved);
  firstTaken_ += count;
  return std::uint32_t(count / format_.channels);
}

// The library tells damage together with the frames before it, and afterwards only that there are no more.
Outcome<std::uint32_t> SndFileReader::decode(float* interleaved, std::uint32_t frames) {
  const sf_count_t count = damage_.empty() ? sf_readf_float(sound_, interleaved, frames) : 0;
  if (damage_.empty() && sf_error(sound_) != SF_ERR_NO_ERROR) damage_ = sf_strerror(sound_);
  if (count > 0) return std::uint32_t(count);
  if (damage_.empty()) return 0;
  return std::unexpected(readerError(ReaderFault::damaged, fmt::format("{}: {}", path_, damage_)));
}

Outcome<void> SndFileReader::seek(std::int64_t frame) {
  firstTaken_ = first_.size();
  damage_.clear();
  const sf_count_t wanted = std::max<std::int64_t>(frame, 0);
  const sf_count_t target = frameCount_ < 0 ? wanted : std::min(wanted, frameCount_);
  const sf_count_t from = settledFrame(target);
  if (sf_seek(sound_, from, SF_SEEK_SET) < 0) {
    return std::unexpected(readerError(ReaderFault::damaged, fmt::format("{}: could not seek to frame {}: {}",
                                                                         path_, frame, sf_strerror(sound_))));
  }
  return skip(target - from);
}

std::int64_t SndFileReader::settledFrame(std::int64_t target) const {
  const auto second = std::int64_t(format_.sampleRate);
  // An MP3 frame may need the data of several before it.
  if (codec_ == SF_FORMAT_MPEG_LAYER_III) return std::max<std::int64_t>(target - second, 0);
  // libsndfile 1.2 lands at the wrong frame inside a Vorbis stream's last page, which is cut to length.
  // Encoders end a page well before 10 s.
  const std::int64_t longestPage = 10 * second;
  const bool nearEnd = target > frameCount_ - longestPage;
  if (codec_ == SF_FORMAT_VORBIS && nearEnd) return std::max<std::int64_t>(target - longestPage, 0);
  return target;
}

Outcome<void> SndFileReader::skip(std::int64_t frames) {
  std::vector<float> dropped(std::size_t(std::min<std::int64_t>(frames, kBlockFrames)) * format_.channels);
  while (frames > 0) {
    const auto count = read(dropped.data(), std::uint32_t(std::min<std::int64_t>(frames, kBlockFrames)));
    if (!count) return std::unexpected(count.error());
    if (*count == 0) break;
    frames -= *count;
  }
  return {};
}

}  // namespace sonmere
