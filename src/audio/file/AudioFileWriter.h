#pragma once

#include <memory>
#include <string>

#include "audio/file/AudioFileMark.h"
#include "audio/file/AudioFileOrigin.h"
#include "audio/file/AudioFileSettings.h"
#include "audio/file/FilePlace.h"
#include "audio/file/FileSpace.h"
#include "audio/file/PCMBuffer.h"
#include "base/Error.h"

namespace sonmere {

// An audio file being written. A write is synchronous: when it has returned success the samples are with the
// operating system and survive the death of this process; with AAC all but the last 0.2 s, which wait for
// their packets to be full. Threads: one at a time, never a render thread.
class AudioFileWriter {
 public:
  virtual ~AudioFileWriter() = default;

  // Layout in which buffers must arrive.
  virtual const PCMFormat& processingFormat() const = 0;
  virtual const std::string& path() const = 0;
  // Appends the buffer's frames. A short write is an error that names the file and the system's reason.
  virtual Outcome<void> write(const PCMBuffer& buffer) = 0;
  // Marks a frame, written already or not; it stands in the file once that is closed, in a broadcast file
  // with the next write as long as there is room. A format that holds no marks leaves it out. Threads: any.
  virtual void addMark(const AudioFileMark&) {}
  // When the first frame was heard, which stands in a broadcast file from the next write on. Threads: any.
  virtual void setOrigin(const AudioFileOrigin&) {}
  // Asks the file system. Once closed, where the file was made.
  virtual FilePlace place() const { return {FilePlace::Kind::there, path()}; }
  // The same, of its size and its drive.
  virtual FileSpace space() const { return {}; }
  // Completes the header and closes; further writes fail. Also done by the destructor, which can't report.
  virtual Outcome<void> close() = 0;
};

// Creates a new file, private to the user (0600), never through a symbolic link at its last component, never
// over an existing file. Linear PCM is written as WAV, AAC as M4A; AAC knows 1 or 2 channels, and rates of
// 7350, 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000, 64000, 88200 and 96000 Hz.
Outcome<std::shared_ptr<AudioFileWriter>> createAudioFile(const std::string& path,
                                                          const AudioFileSettings& settings);

}  // namespace sonmere
