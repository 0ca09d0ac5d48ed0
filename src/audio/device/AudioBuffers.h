#pragma once

#include <cstring>

#include "audio/device/AudioTypes.h"
#include "base/RealtimeScope.h"

namespace sonmere {

// What every callback does with its buffer lists. Render thread.

// The first buffer that holds anything; null for none.
inline const AudioBuffer* firstFilled(AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  for (const AudioBuffer& buffer : buffers)
    if (buffer.byteSize > 0 && buffer.data) return &buffer;
  return nullptr;
}

inline void silence(AudioBufferList buffers) noexcept SONMERE_NONBLOCKING {
  for (const AudioBuffer& buffer : buffers)
    if (buffer.data) std::memset(buffer.data, 0, buffer.byteSize);
}

}  // namespace sonmere
