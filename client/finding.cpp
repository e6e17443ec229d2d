#include "client/finding.h"

#include <objbase.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <iterator>

#include "client/output.h"
#include "client/serviceinfo.h"
#include "client/requests/answerformat.h"

namespace {

// By Status. Text lines show them in capital letters.
constexpr const wchar_t* kStatusNames[] = {L"ok",        L"warning", L"fault",   L"done",
                                           L"unchanged", L"failed",  L"not here"};

std::wstring Padded(std::wstring text, std::size_t width) {
    text.resize(std::max(text.size(), width), L' ');
    return text;
}

}  // namespace

void Findings::Add(Status status,
                   const std::wstring& item,
                   const std::wstring& found,
                   const std::wstring& advice) {
    ++m_counts[static_cast<std::size_t>(status)];
    std::wstring name = kStatusNames[static_cast<std::size_t>(status)];
    if (m_json) {
        PrintLine(L"{\"item\":" + JsonText(item) + L",\"status\":" + JsonText(name) +
                  L",\"found\":" + JsonText(found) + L",\"advice\":" + JsonText(advice) + L"}");
        return;
    }
    std::ranges::transform(name, name.begin(), ::towupper);
    std::wstring line = Padded(name, 10) + Padded(item, 18) + L"  " + found +
                        (advice.empty() ? L"" : L"\n" + advice);
    for (auto i = line.find(L'\n'); i != std::wstring::npos; i = line.find(L'\n', i + 1)) {
        line.insert(i + 1, L"          -> ");
    }
    PrintLine(line);
}

void Findings::AddNotHere(const std::wstring& item,
                          unsigned long error,
                          const std::wstring& known) {
    Add(Status::kNotHere, item,
        known + (known.empty() ? L"" : L"; ") + L"not known here: " + ErrorText(error),
        DeniedAdvice(error));
}

std::wstring DeniedAdvice(unsigned long error) {
    if (error != ERROR_ACCESS_DENIED) {
        return {};
    }
    return IsElevated() ? L"administrators are refused too: run this as SYSTEM"
                        : L"run this as an administrator";
}

std::wstring GuidText(const GUID& id) {
    wchar_t text[39] = {};
    StringFromGUID2(id, text, std::size(text));
    return text;
}

std::wstring TimeText(const FILETIME& time) {
    SYSTEMTIME parts = {};
    wchar_t text[32] = {};
    FileTimeToSystemTime(&time, &parts);
    _snwprintf(text, std::size(text) - 1, L"%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", parts.wYear,
               parts.wMonth, parts.wDay, parts.wHour, parts.wMinute, parts.wSecond,
               parts.wMilliseconds);
    return text;
}

std::wstring ErrorText(unsigned long error) {
    wchar_t words[256] = {};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, error, 0, words, std::size(words), nullptr);
    while (length > 0 && (words[length - 1] <= L' ' || words[length - 1] == L'.')) {
        --length;
    }
    std::wstring text = L"error " + std::to_wstring(error);
    if (length > 0) {
        text += L" (" + std::wstring(words, length) + L")";
    }
    return text;
}
