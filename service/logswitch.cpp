#include "service/diagnosticlog.h"

// Kept: off, and not changed at run time. In a file of its own, so that a program can be linked
// with the log on.
const bool g_logEnabled = false;
