#pragma once

#include "app/DemoReport.h"

namespace sonmere {

// The report on standard output, for people and for programs.
void printDemoTable(const DemoReport& report);
void printDemoJSON(const DemoReport& report);

}  // namespace sonmere
