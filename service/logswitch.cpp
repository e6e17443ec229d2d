#include "service/diagnosticlog.h"

// Off as shipped. Alone in its object file, so that a program can be linked with the log switched
// on.
const bool g_logEnabled = false;
