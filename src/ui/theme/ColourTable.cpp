#include "ui/theme/ColourTable.h"

#include <algorithm>
#include <cmath>

namespace sonmere {
namespace {

struct Entry {
  ColourRole role;
  QRgb dark;
  QRgb light;
};

constexpr Entry kColours[] = {
    {ColourRole::window, 0xff15171b, 0xfff4f5f7},        {ColourRole::panel, 0xff1b1e23, 0xffe9ecf0},
    {ColourRole::raised, 0xff23272e, 0xffffffff},        {ColourRole::field, 0xff0f1114, 0xfffafbfc},
    {ColourRole::selected, 0xff2b3542, 0xffd9e6f7},      {ColourRole::text, 0xffeceef1, 0xff191c21},
    {ColourRole::dimText, 0xffa9b1bc, 0xff505863},       {ColourRole::accentText, 0xff07131f, 0xffffffff},
    {ColourRole::dangerText, 0xffff8f88, 0xffb3201a},    {ColourRole::warningText, 0xfff0bd62, 0xff7a4a00},
    {ColourRole::goodText, 0xff6fd8a4, 0xff0a6340},      {ColourRole::line, 0xff3a414b, 0xffc3cad3},
    {ColourRole::accent, 0xff5cb0ff, 0xff0a5fc4},        {ColourRole::boost, 0xffe3a23c, 0xffb36b00},
    {ColourRole::danger, 0xffe5534b, 0xffc62a22},        {ColourRole::meterLow, 0xff3fbf86, 0xff1f9d67},
    {ColourRole::meterMiddle, 0xffe3b341, 0xffc58a00},   {ColourRole::meterHigh, 0xffe5534b, 0xffc62a22},
    {ColourRole::gainReduction, 0xffc792ea, 0xff7a3fb0}, {ColourRole::focus, 0xff8cc8ff, 0xff0a5fc4},
};

double linear(double channel) {
  return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& c) {
  return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
}

}  // namespace

QColor colour(ColourRole role, ColourScheme scheme) {
  const auto entry = std::ranges::find(kColours, role, &Entry::role);
  return QColor::fromRgba(scheme == ColourScheme::dark ? entry->dark : entry->light);
}

double contrast(const QColor& one, const QColor& other) {
  const double first = luminance(one), second = luminance(other);
  return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

}  // namespace sonmere
