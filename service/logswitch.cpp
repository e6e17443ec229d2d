#include "service/diagnosticlog.h"

// Kept: off, and nothing turns it on at run time. Alone in its object file, so that a program can
// be linked with the log switched on.
const bool g_logEnabled = false;
