#include "diagnostics/diagnosticlog.h"

// Kept: off, and not changed at run time. In its own file, so that a test program can be linked
// with the log on.
const bool g_logEnabled = false;
