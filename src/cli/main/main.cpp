#include "cli/CommandLine.h"

int main(int argc, char** argv) { return sonmere::runCommandLine(argc, argv); }
