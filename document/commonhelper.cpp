#include "document/commonhelper.h"

void CommonHelperCommand(handle_t /*binding*/,
                         const wchar_t* /*command*/,
                         bool /*data_bool*/,
                         long /*data_int*/,
                         wchar_t* /*data_string*/) {}
