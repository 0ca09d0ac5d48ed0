#pragma once

#include <QColor>
#include <array>

namespace sonmere {

enum class ColourScheme { dark, light };

// What a colour is for. Grounds first, then what lies on them.
enum class ColourRole {
  window,    // behind everything
  panel,     // side bar, strips
  raised,    // rows, buttons
  field,     // where values are typed, and meters' and sliders' troughs
  selected,  // the chosen page, a chosen row
  text,
  dimText,      // second lines, units
  accentText,   // on `accent`
  dangerText,   // refusals and errors, on grounds
  warningText,  // notes, on grounds
  goodText,     // on grounds
  line,
  accent,
  boost,  // above 100 %
  danger,
  meterLow,
  meterMiddle,
  meterHigh,
  gainReduction,
  focus,
};

inline constexpr std::array kGroundRoles = {ColourRole::window, ColourRole::panel, ColourRole::raised,
                                            ColourRole::field, ColourRole::selected};
inline constexpr std::array kTextRoles = {ColourRole::text, ColourRole::dimText, ColourRole::dangerText,
                                          ColourRole::warningText, ColourRole::goodText};

QColor colour(ColourRole role, ColourScheme scheme);

// The ratio of luminances, 1 to 21, as the web's accessibility guidelines define it (WCAG 2.1, relative
// luminance).
double contrast(const QColor& one, const QColor& other);

}  // namespace sonmere
