// pvgroup: the command line of the group manager.
#include "cli/verbs/verbs.h"

int main(int argc, char** argv) { return pv::cli::RunCommandLine(argc, argv); }
