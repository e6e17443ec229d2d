// An open file of the C runtime.
#pragma once

#include <cstdio>

#include "win32/uniqueresource.h"

struct StdioFileTraits {
    using Type = std::FILE*;
    static Type Empty() { return nullptr; }
    static void Close(Type file) { std::fclose(file); }
};

// A stream from _wfsopen, closed with fclose.
using StdioFile = UniqueResource<StdioFileTraits>;
