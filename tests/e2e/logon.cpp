#include "service/diagnosticlog.h"

const bool g_logEnabled = true;
