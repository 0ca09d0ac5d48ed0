#include "platform/simulated/SampleSources.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <utility>

#include "audio/file/AudioFileReader.h"
#include "audio/file/StreamResampler.h"

namespace sonmere::SampleSources {

namespace {

class Silence final : public SampleSource {
 public:
  void setSampleRate(double) override {}
  std::uint32_t render(float* stereo, std::uint32_t frames) override {
    std::fill(stereo, stereo + 2 * std::size_t(frames), 0.0f);
    return frames;
  }
};

class Tone final : public SampleSource {
 public:
  Tone(double hertz, float amplitude) : hertz_(hertz), amplitude_(amplitude) {}
  void setSampleRate(double rate) override { setTurn(2 * std::numbers::pi * hertz_ / rate); }
  // A rotating phasor: one complex product a frame, set straight once a block.
  std::uint32_t render(float* stereo, std::uint32_t frames) override {
    for (std::uint32_t i = 0; i < frames; ++i) {
      stereo[2 * i] = stereo[2 * i + 1] = amplitude_ * float(sine_);
      const double cosine = cosine_ * turnCosine_ - sine_ * turnSine_;
      sine_ = sine_ * turnCosine_ + cosine_ * turnSine_;
      cosine_ = cosine;
    }
    const double norm = 1 / std::hypot(sine_, cosine_);
    sine_ *= norm;
    cosine_ *= norm;
    return frames;
  }

 private:
  void setTurn(double angle) {
    turnSine_ = std::sin(angle);
    turnCosine_ = std::cos(angle);
  }
  double hertz_;
  float amplitude_;
  double sine_ = 0, cosine_ = 1, turnSine_ = 0, turnCosine_ = 1;
};

class Noise final : public SampleSource {
 public:
  Noise(std::uint64_t seed, float amplitude) : state_(seed * 2654435769u + 1), amplitude_(amplitude) {}
  void setSampleRate(double) override {}
  std::uint32_t render(float* stereo, std::uint32_t frames) override {
    for (std::uint32_t i = 0; i < 2 * frames; ++i) {
      state_ = state_ * 6364136223846793005u + 1442695040888963407u;
      stereo[i] = amplitude_ * float(std::int32_t(state_ >> 32)) * 0x1p-31f;
    }
    return frames;
  }

 private:
  std::uint64_t state_;
  float amplitude_;
};

class Samples final : public SampleSource {
 public:
  Samples(std::vector<float> stereo, bool loop) : stereo_(std::move(stereo)), loop_(loop) {}
  void setSampleRate(double) override {}
  std::uint32_t render(float* stereo, std::uint32_t frames) override {
    const std::size_t length = stereo_.size() / 2;
    std::uint32_t made = 0;
    while (made < frames && length > 0) {
      if (position_ == length && !loop_) break;
      position_ %= length;
      const auto count = std::uint32_t(std::min<std::size_t>(frames - made, length - position_));
      std::copy_n(stereo_.data() + 2 * position_, 2 * std::size_t(count), stereo + 2 * std::size_t(made));
      position_ += count;
      made += count;
    }
    return made;
  }

 private:
  std::vector<float> stereo_;
  bool loop_;
  std::size_t position_ = 0;
};

class Counter final : public SampleSource {
 public:
  void setSampleRate(double) override {}
  std::uint32_t render(float* stereo, std::uint32_t frames) override {
    for (std::uint32_t i = 0; i < frames; ++i) {
      const float value = float((next_++ & 0xFFFFFF) + 1) * 0x1p-24f;
      stereo[2 * i] = value;
      stereo[2 * i + 1] = -value;
    }
    return frames;
  }

 private:
  std::uint32_t next_ = 0;
};

class File final : public SampleSource {
 public:
  File(std::string path, std::unique_ptr<AudioFileReader> reader, bool loop, FileFailure failed)
      : path_(std::move(path)),
        reader_(std::move(reader)),
        rate_(reader_->format().sampleRate),
        loop_(loop),
        failed_(std::move(failed)) {
    const double fileRate = rate_;
    rate_ = 0;
    setSampleRate(fileRate);
  }

  void setSampleRate(double rate) override {
    if (rate == rate_) return;
    seconds_ = place();
    rate_ = rate;
    reopen();
  }

  std::uint32_t render(float* stereo, std::uint32_t frames) override {
    std::uint32_t made = 0;
    bool rewound = false;
    while (made < frames && reader_) {
      const auto count = reader_->read(stereo + 2 * std::size_t(made), frames - made);
      if (!count) {
        fail(count.error());
        break;
      }
      made += *count;
      sinceOpen_ += *count;
      if (*count > 0) {
        rewound = false;
        continue;
      }
      // A file that is empty even from its beginning has ended.
      if (!loop_ || rewound) break;
      seconds_ = 0;
      rewound = true;
      reopen();
    }
    return made;
  }

 private:
  double place() const { return rate_ > 0 ? seconds_ + double(sinceOpen_) / rate_ : 0; }
  void fail(const Error& error) {
    reader_.reset();
    if (failed_) failed_(error);
  }
  void reopen() {
    if (!reader_ || sinceOpen_ > 0 || seconds_ > 0 || wrapped_) {
      auto opened = openAudioFile(path_);
      if (!opened) return fail(opened.error());
      reader_ = std::move(*opened);
    }
    sinceOpen_ = 0;
    wrapped_ = true;
    if (seconds_ > 0)
      if (auto placed = reader_->seek(std::llround(seconds_ * reader_->format().sampleRate)); !placed)
        return fail(placed.error());
    reader_ = resampled(std::move(reader_), {rate_, 2});
  }

  std::string path_;
  std::unique_ptr<AudioFileReader> reader_;
  double rate_;
  bool loop_;
  FileFailure failed_;
  bool wrapped_ = false;
  double seconds_ = 0;
  std::uint64_t sinceOpen_ = 0;
};

}  // namespace

std::unique_ptr<SampleSource> silence() { return std::make_unique<Silence>(); }
std::unique_ptr<SampleSource> tone(double hertz, float amplitude) {
  return std::make_unique<Tone>(hertz, amplitude);
}
std::unique_ptr<SampleSource> noise(std::uint64_t seed, float amplitude) {
  return std::make_unique<Noise>(seed, amplitude);
}
std::unique_ptr<SampleSource> samples(std::vector<float> stereo, bool loop) {
  return std::make_unique<Samples>(std::move(stereo), loop);
}
std::unique_ptr<SampleSource> counter() { return std::make_unique<Counter>(); }

Outcome<std::unique_ptr<SampleSource>> file(const std::string& path, bool loop, FileFailure failed) {
  auto reader = openAudioFile(path);
  if (!reader) return std::unexpected(reader.error());
  return std::make_unique<File>(path, std::move(*reader), loop, std::move(failed));
}

}  // namespace sonmere::SampleSources
