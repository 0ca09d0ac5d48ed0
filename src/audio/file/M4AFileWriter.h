#pragma once

#include <optional>

#include "audio/file/AACEncoder.h"
#include "audio/file/AudioFileWriter.h"
#include "audio/file/M4ABoxes.h"
#include "audio/file/OutputFile.h"

namespace sonmere {

// Writes AAC as M4A: while it grows in short fragments, each with the kernel as soon as it is full, so that
// the file of a killed process can be read and lacks less than 0.3 s; once closed as an ordinary file, which
// decodes to exactly the frames that were written. That is made in place and in an order that loses nothing:
// when it can't be done the fragments stay. Samples are clipped to full scale; NaN becomes 0. After a failed
// write all further ones fail alike.
class M4AFileWriter final : public AudioFileWriter {
 public:
  // Starts a file on an empty descriptor that is open for reading and writing.
  static Outcome<std::shared_ptr<M4AFileWriter>> start(FileDescriptor file, const std::string& path,
                                                       const AudioFileSettings& settings,
                                                       std::unique_ptr<AACEncoder> encoder);
  ~M4AFileWriter() override;

  const PCMFormat& processingFormat() const override { return format_; }
  const std::string& path() const override { return file_.path(); }
  Outcome<void> write(const PCMBuffer& buffer) override;
  FilePlace place() const override { return file_.place(); }
  FileSpace space() const override { return file_.space(); }
  // What the closed file says of itself.
  void setTags(const AudioFileTags& tags) { stream_.tags = tags; }
  Outcome<void> close() override;

 private:
  M4AFileWriter(FileDescriptor file, const std::string& path, const AudioFileSettings& settings,
                std::unique_ptr<AACEncoder> encoder);

  Outcome<void> append(const PCMBuffer& buffer);
  // Takes frames from `first` on until the block is full; tells how many.
  std::uint32_t fillBlock(const PCMBuffer& buffer, std::uint32_t first);
  Outcome<void> encodeBlock();
  void takePacket(std::span<const std::uint8_t> packet);
  Outcome<void> writeFragment();

  Outcome<void> complete();
  Outcome<void> encodeRest();
  // The two steps from a file of fragments to an ordinary one.
  Outcome<void> makeOrdinary();
  Outcome<void> appendIndex(std::span<const std::uint8_t> index);
  // The frames that the stored packets hold, at most those written.
  std::uint64_t storedFrames() const;

  OutputFile file_;
  const PCMFormat format_;
  M4AStream stream_;
  const std::unique_ptr<AACEncoder> encoder_;
  const AACEncoder::PacketHandler handler_;
  const std::uint32_t packetsPerFragment_;

  PCMBuffer block_;                    // frames that do not fill a packet yet
  std::uint64_t frames_ = 0;           // taken over by write
  std::vector<std::uint8_t> pending_;  // packets that are not in the file yet
  std::vector<std::uint32_t> pendingSizes_;
  std::vector<std::uint8_t> fragment_;

  std::uint64_t freeOffset_ = 0;
  std::uint64_t end_ = 0;  // of the last whole fragment
  std::vector<std::uint32_t> packetSizes_;
  std::vector<M4AChunk> chunks_;
  std::optional<Error> failure_;  // of a write
};

}  // namespace sonmere
