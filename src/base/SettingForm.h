#pragma once

namespace sonmere {

// Whether a setter keeps what it applies (the end of a drag) or only applies it (during one).
enum class SettingForm { live, final };

}  // namespace sonmere
