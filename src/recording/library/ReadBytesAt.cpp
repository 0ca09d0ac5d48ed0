#include "recording/library/ReadBytesAt.h"

#include <unistd.h>

#include <cerrno>

namespace sonmere {

ReadBytesAt readBytesOf(int descriptor) {
  return [descriptor](std::uint64_t position, std::span<std::uint8_t> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t count =
          pread(descriptor, bytes.data() + done, bytes.size() - done, off_t(position + done));
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) break;
      done += std::size_t(count);
    }
    return done;
  };
}

}  // namespace sonmere
