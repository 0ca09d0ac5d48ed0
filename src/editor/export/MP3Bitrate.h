#pragma once

namespace sonmere {

// Constant bit rates that an export offers.
enum class MP3Bitrate { kbps128, kbps192, kbps256, kbps320 };

constexpr int kilobitsPerSecond(MP3Bitrate rate) { return 128 + 64 * static_cast<int>(rate); }

}  // namespace sonmere
