#include "document/documenttext.h"

#include <io.h>
#include <share.h>

#include <array>
#include <cstdio>

#include "text/widebytes.h"
#include "win32/stdiofile.h"

std::wstring ReadDocumentText(const wchar_t* path) {
    std::wstring text;
    StdioFile file(_wfsopen(path, L"rt", _SH_DENYNO));
    if (!file) {
        return text;
    }
    // Room for all of it and the added break at once: growing would hold the text twice.
    const long long size = _filelengthi64(_fileno(file.Get()));
    if (size > 0) {
        text.reserve(static_cast<std::size_t>(size) + 1);
    }
    std::array<signed char, 16384> chunk;
    while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), file.Get())) {
        AppendWidened(text, {chunk.data(), count});
    }
    if (!text.empty() && text.back() != L'\n') {
        text += L'\n';
    }
    return text;
}
