#include "control/AppHints.h"

#include "mixer/DAWHint.h"
#include "mixer/MixerRows.h"

namespace sonmere {

namespace {

// Of the browser that installed the web app, whose identifier begins with the browser's.
std::string browserName(const AppTapEngine& engine, const std::string& webApp) {
  const std::string browser = webApp.substr(0, webApp.rfind(".app."));
  const TappedAppInfo* row = engine.row(browser);
  return row ? row->name : FamilyRules::familyName(browser);
}

}  // namespace

std::vector<std::string> appHints(const AppTapEngine& engine, const VolumeMixerEngine& mixer,
                                  const TappedAppInfo& row) {
  std::vector<std::string> hints;
  if (FamilyRules::needsWebAppNote(row.bundleID))
    hints.push_back(FamilyRules::webAppNote(browserName(engine, row.bundleID)));
  if (row.bundleID == FamilyRules::kCallAudioKey) hints.emplace_back(MixerRows::kCallAudioHint);
  if (row.bundleID == FamilyRules::kSiriKey && *mixer.isEnabled) hints.emplace_back(MixerRows::kSiriNote);
  if (mixer.shouldOfferDirect(row.bundleID)) hints.push_back(DAWHint::text(row.name));
  return hints;
}

}  // namespace sonmere
