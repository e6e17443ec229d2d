// Linked into a test program, switches its log on.
#include "diagnostics/diagnosticlog.h"

const bool g_logEnabled = true;
