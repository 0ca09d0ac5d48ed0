#include "recording/RecordingReader.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "recording/RecordingFileName.h"

namespace sonmere {

namespace fs = std::filesystem;

namespace {

class JoinedReader final : public AudioFileReader {
 public:
  explicit JoinedReader(std::unique_ptr<AudioFileReader> first) { append(std::move(first)); }

  // False for one that does not go on as what is before it.
  bool add(std::unique_ptr<AudioFileReader> part) {
    if (frames_ < 0 || part->frameCount() < 0 || part->format() != format()) return false;
    append(std::move(part));
    return true;
  }

  const PCMFormat& format() const override { return parts_.front().reader->format(); }
  std::int64_t frameCount() const override { return frames_; }
  ChannelLayout layout() const override { return parts_.front().reader->layout(); }
  SampleForm sampleForm() const override { return parts_.front().reader->sampleForm(); }
  std::int64_t missingFrames() const override { return parts_.back().reader->missingFrames(); }
  const std::string& container() const override { return parts_.front().reader->container(); }

  AudioFileDetails details() const override {
    AudioFileDetails all = parts_.front().reader->details();
    all.marks.clear();
    for (const Part& part : parts_)
      for (const AudioFileMark& mark : part.reader->details().marks)
        all.marks.push_back({part.begin + mark.frame, mark.text});
    return all;
  }

  Outcome<std::uint32_t> read(float* interleaved, std::uint32_t frames) override {
    for (; current_ < parts_.size(); ++current_) {
      const auto count = parts_[current_].reader->read(interleaved, frames);
      if (!count || *count > 0) return count;
    }
    return 0;
  }

  Outcome<void> seek(std::int64_t frame) override {
    const auto after = std::ranges::upper_bound(parts_, frame, {}, &Part::begin);
    current_ = after == parts_.begin() ? 0 : std::size_t(after - parts_.begin()) - 1;
    for (std::size_t i = current_ + 1; i < parts_.size(); ++i)
      if (auto rewound = parts_[i].reader->seek(0); !rewound) return rewound;
    return parts_[current_].reader->seek(frame - parts_[current_].begin);
  }

 private:
  struct Part {
    std::int64_t begin = 0;  // in frames of the whole
    std::unique_ptr<AudioFileReader> reader;
  };

  void append(std::unique_ptr<AudioFileReader> part) {
    const std::int64_t frames = part->frameCount();
    parts_.push_back({frames_, std::move(part)});
    frames_ = frames < 0 ? -1 : frames_ + frames;
  }

  std::vector<Part> parts_;
  std::int64_t frames_ = 0;
  std::size_t current_ = 0;
};

}  // namespace

std::vector<std::string> laterRecordingParts(const std::string& path) {
  const fs::path first = path;
  const std::string fileName = first.filename().string();
  const auto parts = parseRecordingName(fileName);
  std::vector<std::string> later;
  if (!parts || parseRecordingPart(parts->name)) return later;
  const std::string name(parts->name), tail = fileName.substr(name.size());
  std::error_code ignored;
  for (int part = 2;; ++part) {
    const fs::path next = first.parent_path() / (recordingPartName(name, part) + tail);
    if (!fs::is_regular_file(next, ignored)) return later;
    later.push_back(next.string());
  }
}

Outcome<std::unique_ptr<AudioFileReader>> openRecording(const std::string& path) {
  auto first = openAudioFile(path);
  if (!first) return first;
  const auto later = laterRecordingParts(path);
  if (later.empty()) return first;
  auto joined = std::make_unique<JoinedReader>(std::move(*first));
  for (const std::string& part : later) {
    auto reader = openAudioFile(part);
    if (!reader) return reader;
    if (!joined->add(std::move(*reader))) break;
  }
  return joined;
}

}  // namespace sonmere
