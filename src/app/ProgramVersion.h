#pragma once

namespace sonmere {

inline constexpr const char* kProgramVersion = "0.1.0";

}  // namespace sonmere
