// Keeping a host's replies apart from what the library prints on its own.
#pragma once

#include <cstdio>

// Takes the process's standard output for the host's own replies and points descriptor 1 at
// standard error, so that anything else written to stdout (the library's diagnostics, printf,
// std::cout) lands on stderr and can never corrupt the replies. Returns the private stream for
// the replies (the caller closes it), or null when the descriptors cannot be set up.
FILE* falDivertStdout();
