#pragma once

namespace sonmere {

// Asks for the calling thread to be run before others: of the kernel, else of the session's service for that.
// Without either it runs as any other.
void raiseAudioPriority();

}  // namespace sonmere
