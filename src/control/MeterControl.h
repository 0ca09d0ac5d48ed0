#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/ToneFerryApp.h"
#include "dsp/Spectrum.h"

namespace sonmere {

// What a look at the meters is at besides the levels.
struct SpectrumState {
  std::string of;              // "output", "bus N", or an app's identifier
  std::vector<float> bandsDb;  // see Spectrum; empty while nothing of it sounds here
};

// Who looks at meters and at which spectra: the engines work for them only as long as someone does. Main
// thread; the application outlives it and every look.
class MeterControl {
 public:
  // A look lasts as long as it is held.
  class Look {
   public:
    Look(MeterControl& control, std::string spectrum);
    ~Look();
    Look(const Look&) = delete;
    Look& operator=(const Look&) = delete;
    // Empty: at none.
    const std::string& spectrum() const { return spectrum_; }

   private:
    MeterControl& control_;
    const std::string spectrum_;
  };

  explicit MeterControl(ToneFerryApp& app) : app_(app) {}

  // At a spectrum ("output", "bus N" by number, an app's identifier) or, where empty, at levels alone.
  std::shared_ptr<const Look> look(const std::string& spectrum);
  // Of this moment; nothing where the look is at none, or where the user wants none.
  std::optional<SpectrumState> spectrumOf(const Look& look) const;

 private:
  void reconcile();
  std::optional<Spectrum> read(const std::string& of) const;

  ToneFerryApp& app_;
  int looks_ = 0;
  std::map<std::string, int> spectra_;  // how many look at each
};

}  // namespace sonmere
