#include "recording/library/MP4Duration.h"

#include <algorithm>
#include <array>
#include <optional>
#include <tuple>
#include <utility>

namespace sonmere {

namespace {

constexpr std::size_t kWindowBytes = 512;
// More than a day of audio in fragments of a tenth of a second, each of seven boxes.
constexpr int kMostBoxes = 8'000'000;
// Samples whose lengths stand one by one; a few bytes may claim any number of them.
constexpr int kMostSamples = 300'000;

constexpr std::uint32_t tag(const char (&text)[5]) {
  return std::uint32_t(text[0]) << 24 | std::uint32_t(text[1]) << 16 | std::uint32_t(text[2]) << 8 |
         std::uint32_t(text[3]);
}

struct Box {
  std::uint32_t type;
  std::uint64_t content;  // its first byte
  std::uint64_t end;
};

class Walk {
 public:
  Walk(const ReadBytesAt& read, std::uint64_t fileSize) : read_(read), fileSize_(fileSize) {}
  double seconds();

  std::uint64_t number(std::uint64_t at, int bytes);

 private:
  std::optional<Box> boxAt(std::uint64_t at, std::uint64_t end);
  // Calls `visit` with each box between the two positions.
  template <class Visit>
  void eachBox(std::uint64_t from, std::uint64_t end, Visit&& visit);
  void readMovie(const Box& movie);
  void readTrack(const Box& track);
  void readExtends(const Box& extends);
  void readFragment(const Box& fragment);
  void readTrackFragment(const Box& fragment);
  double runTicks(const Box& run, double defaultTicks);

  struct Track {
    std::uint64_t id = 0;
    double timescale = 0;  // ticks a second
    double ticks = 0;
    double defaultTicks = 0;  // of a sample in a fragment
  };

  const ReadBytesAt& read_;
  const std::uint64_t fileSize_;
  std::array<std::uint8_t, kWindowBytes> window_{};
  std::uint64_t windowAt_ = 0;
  std::size_t windowSize_ = 0;
  int boxes_ = 0;
  int samples_ = 0;

  double movieSeconds_ = 0;
  std::optional<Track> track_;  // the first one of sound
  double fragmentsEnd_ = 0;     // in ticks of the track
};

// The fields of a box, one after the other. What lies behind its end reads as zeros.
class Fields {
 public:
  Fields(Walk& walk, const Box& box) : walk_(walk), at_(box.content), end_(box.end) {}
  std::uint64_t next(int bytes) {
    const bool isInside = at_ + std::uint64_t(bytes) <= end_;
    const std::uint64_t value = isInside ? walk_.number(at_, bytes) : 0;
    at_ += std::uint64_t(bytes);
    return value;
  }
  void skip(std::uint64_t bytes) { at_ += bytes; }
  std::uint64_t left() const { return at_ < end_ ? end_ - at_ : 0; }

 private:
  Walk& walk_;
  std::uint64_t at_;
  const std::uint64_t end_;
};

// Version in the highest byte, flags in the others.
constexpr bool isVersion1(std::uint64_t versionAndFlags) { return versionAndFlags >> 24 == 1; }

// A duration field; all ones mean that it isn't known.
double durationIn(Fields& fields, bool is64Bits) {
  const std::uint64_t value = fields.next(is64Bits ? 8 : 4);
  const std::uint64_t unknown = is64Bits ? ~0ull : 0xFFFFFFFF;
  return value == unknown ? 0 : double(value);
}

// Timescale and duration as movie and media header have them.
std::pair<double, double> timesOf(Walk& walk, const Box& header) {
  Fields fields(walk, header);
  const bool is64Bits = isVersion1(fields.next(4));
  fields.skip(is64Bits ? 16 : 8);  // creation and modification
  const auto timescale = double(fields.next(4));
  return {timescale, durationIn(fields, is64Bits)};
}

std::uint64_t Walk::number(std::uint64_t at, int bytes) {
  const std::uint64_t end = at + std::uint64_t(bytes);
  if (at < windowAt_ || end > windowAt_ + windowSize_) {
    windowAt_ = at;
    const std::uint64_t left = at < fileSize_ ? fileSize_ - at : 0;
    windowSize_ =
        read_(at, std::span(window_).first(std::size_t(std::min<std::uint64_t>(left, kWindowBytes))));
    if (std::uint64_t(bytes) > windowSize_) return 0;
  }
  std::uint64_t value = 0;
  for (std::uint64_t i = at; i < end; ++i) value = value << 8 | window_[i - windowAt_];
  return value;
}

std::optional<Box> Walk::boxAt(std::uint64_t at, std::uint64_t end) {
  if (at + 8 > end || ++boxes_ > kMostBoxes) return std::nullopt;
  std::uint64_t size = number(at, 4);
  const auto type = std::uint32_t(number(at + 4, 4));
  std::uint64_t headerBytes = 8;
  if (size == 1) {
    if (at + 16 > end) return std::nullopt;
    size = number(at + 8, 8);
    headerBytes = 16;
  } else if (size == 0) {
    size = end - at;  // the last one, up to the end
  }
  if (size < headerBytes) return std::nullopt;
  return Box{type, at + headerBytes, size > end - at ? end : at + size};
}

template <class Visit>
void Walk::eachBox(std::uint64_t from, std::uint64_t end, Visit&& visit) {
  while (const auto box = boxAt(from, end)) {
    visit(*box);
    from = box->end;
  }
}

void Walk::readMovie(const Box& movie) {
  eachBox(movie.content, movie.end, [this](const Box& box) {
    if (box.type == tag("mvhd")) {
      const auto [timescale, duration] = timesOf(*this, box);
      if (timescale > 0) movieSeconds_ = duration / timescale;
    } else if (box.type == tag("trak")) {
      readTrack(box);
    } else if (box.type == tag("mvex")) {
      readExtends(box);
    }
  });
}

void Walk::readTrack(const Box& track) {
  Track found;
  bool isSound = false;
  eachBox(track.content, track.end, [&](const Box& box) {
    if (box.type == tag("tkhd")) {
      Fields fields(*this, box);
      fields.skip(isVersion1(fields.next(4)) ? 16 : 8);
      found.id = fields.next(4);
    } else if (box.type == tag("mdia")) {
      eachBox(box.content, box.end, [&](const Box& media) {
        if (media.type == tag("mdhd")) {
          std::tie(found.timescale, found.ticks) = timesOf(*this, media);
        } else if (media.type == tag("hdlr")) {
          Fields fields(*this, media);
          fields.skip(8);
          isSound = fields.next(4) == tag("soun");
        }
      });
    }
  });
  if (track_ || !isSound) return;
  track_ = found;
  fragmentsEnd_ = found.ticks;
}

void Walk::readExtends(const Box& extends) {
  eachBox(extends.content, extends.end, [this](const Box& box) {
    if (box.type != tag("trex")) return;
    Fields fields(*this, box);
    fields.skip(4);
    const std::uint64_t id = fields.next(4);
    fields.skip(4);
    if (track_ && id == track_->id) track_->defaultTicks = double(fields.next(4));
  });
}

void Walk::readFragment(const Box& fragment) {
  eachBox(fragment.content, fragment.end, [this](const Box& box) {
    if (box.type == tag("traf")) readTrackFragment(box);
  });
}

void Walk::readTrackFragment(const Box& fragment) {
  double defaultTicks = track_ ? track_->defaultTicks : 0;
  bool isOurs = false;
  eachBox(fragment.content, fragment.end, [&](const Box& box) {
    Fields fields(*this, box);
    if (box.type == tag("tfhd")) {
      const std::uint64_t flags = fields.next(4);
      isOurs = track_ && fields.next(4) == track_->id;
      fields.skip((flags & 0x1 ? 8 : 0) + (flags & 0x2 ? 4 : 0));
      if (flags & 0x8) defaultTicks = double(fields.next(4));
    } else if (isOurs && box.type == tag("tfdt")) {
      fragmentsEnd_ = double(fields.next(isVersion1(fields.next(4)) ? 8 : 4));
    } else if (isOurs && box.type == tag("trun")) {
      fragmentsEnd_ += runTicks(box, defaultTicks);
    }
  });
}

double Walk::runTicks(const Box& run, double defaultTicks) {
  Fields fields(*this, run);
  const std::uint64_t flags = fields.next(4);
  const std::uint64_t count = fields.next(4);
  fields.skip((flags & 0x1 ? 4 : 0) + (flags & 0x4 ? 4 : 0));
  if (!(flags & 0x100)) return double(count) * defaultTicks;
  const std::uint64_t rest = (flags & 0x200 ? 4 : 0) + (flags & 0x400 ? 4 : 0) + (flags & 0x800 ? 4 : 0);
  double ticks = 0;
  for (std::uint64_t i = 0; i < count && fields.left() > 0 && ++samples_ <= kMostSamples; ++i) {
    ticks += double(fields.next(4));
    fields.skip(rest);
  }
  return ticks;
}

double Walk::seconds() {
  eachBox(0, fileSize_, [this](const Box& box) {
    if (box.type == tag("moov")) readMovie(box);
    if (box.type == tag("moof")) readFragment(box);
  });
  const bool hasTrack = track_ && track_->timescale > 0;
  const double ofTrack = hasTrack ? track_->ticks / track_->timescale : 0;
  const double ofFragments = hasTrack ? fragmentsEnd_ / track_->timescale : 0;
  // The movie's length is that of what is heard, the track's has the encoder's delay in it.
  return std::max(movieSeconds_ > 0 ? movieSeconds_ : ofTrack, ofFragments > ofTrack ? ofFragments : 0.0);
}

}  // namespace

double mp4Seconds(const ReadBytesAt& read, std::uint64_t fileSize) { return Walk(read, fileSize).seconds(); }

}  // namespace sonmere
