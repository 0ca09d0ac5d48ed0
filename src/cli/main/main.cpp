#include "cli/CommandLine.h"
#include "cli/ExitStatus.h"

int main(int argc, char** argv) { return sonmere::endBySignalOrReturn(sonmere::runCommandLine(argc, argv)); }
