#include "control/MeterControl.h"

#include "mixer/MixerRows.h"

namespace sonmere {

namespace {
constexpr const char* kOutput = "output";
constexpr const char* kBusPrefix = "bus ";
}  // namespace

MeterControl::Look::Look(MeterControl& control, std::string spectrum)
    : control_(control), spectrum_(std::move(spectrum)) {
  ++control_.looks_;
  if (!spectrum_.empty()) ++control_.spectra_[spectrum_];
  control_.reconcile();
}

MeterControl::Look::~Look() {
  --control_.looks_;
  if (const auto found = control_.spectra_.find(spectrum_); found != control_.spectra_.end())
    if (--found->second == 0) control_.spectra_.erase(found);
  control_.reconcile();
}

std::shared_ptr<const MeterControl::Look> MeterControl::look(const std::string& spectrum) {
  return std::make_shared<const Look>(*this, spectrum);
}

// All spectra are fed or none: the renders have one switch.
void MeterControl::reconcile() {
  AppTapEngine& engine = *app_.appTapEngine();
  engine.setMetersVisible(looks_ > 0);
  engine.effects().setActiveEqualiser(spectra_.empty() ? std::string() : spectra_.begin()->first);
}

std::optional<SpectrumState> MeterControl::spectrumOf(const Look& look) const {
  if (look.spectrum().empty() || !app_.context().flags.spectrumWanted()) return std::nullopt;
  SpectrumState state{look.spectrum(), {}};
  if (const auto bands = read(state.of)) state.bandsDb.assign(bands->begin(), bands->end());
  return state;
}

std::optional<Spectrum> MeterControl::read(const std::string& of) const {
  AppTapEngine& engine = *app_.appTapEngine();
  if (of.starts_with(kBusPrefix)) {
    const int bus = std::atoi(of.c_str() + std::string_view(kBusPrefix).size());
    if (!isRoutableBus(bus) || !engine.isBusRunning(bus)) return std::nullopt;
    return sonmere::spectrumOf(engine.busSpectrum(bus), engine.busSampleRate(bus));
  }
  if (const auto tap = engine.tapOf(of))
    return sonmere::spectrumOf(tap->spectrum, engine.busSampleRate(tap->busIndex));
  VolumeMixerEngine& mixer = *app_.volumeMixerEngine();
  const auto ring = mixer.fftBuffer(of == kOutput ? std::string(MixerRows::kOutputKey) : of);
  return ring ? std::optional(sonmere::spectrumOf(*ring, mixer.outputSampleRate())) : std::nullopt;
}

}  // namespace sonmere
