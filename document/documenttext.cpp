#include "document/documenttext.h"

#include <windows.h>
#include <io.h>
#include <share.h>

#include <array>
#include <cstdio>
#include <memory>
#include <utility>

#include "text/widebytes.h"
#include "win32/stdiofile.h"

namespace {

void WINAPI FreeText(void* text) {
    delete static_cast<std::wstring*>(text);
}

const DWORD g_textSlot = FlsAlloc(&FreeText);

}  // namespace

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

const wchar_t* KeepThreadText(std::wstring text) {
    DropThreadText();
    auto kept = std::make_unique<std::wstring>(std::move(text));
    if (!FlsSetValue(g_textSlot, kept.get())) {
        return L"";
    }
    return kept.release()->c_str();
}

void DropThreadText() {
    FreeText(FlsGetValue(g_textSlot));
    FlsSetValue(g_textSlot, nullptr);
}
