#include "diagnostics/diagnosticlog.h"

const bool g_logEnabled = true;
