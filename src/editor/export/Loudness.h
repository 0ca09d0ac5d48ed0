#pragma once

namespace sonmere {

// How loud audio is, by ITU-R BS.1770 and EBU R 128. Silence has minus infinity where a level is in decibels.
struct Loudness {
  double integratedLUFS = 0;
  double rangeLU = 0;
  double truePeakDb = 0;    // dBTP: of the signal between the samples too
  double samplePeakDb = 0;  // dBFS
};

}  // namespace sonmere
