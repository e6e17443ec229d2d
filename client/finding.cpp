#include "client/finding.h"

#include <objbase.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "client/output.h"
#include "client/requests/answerformat.h"

namespace {

struct StatusNames {
    const wchar_t* json;
    const wchar_t* plain;
};

// By Status.
constexpr StatusNames kStatusNames[] = {{L"ok", L"OK"},
                                        {L"warning", L"WARNING"},
                                        {L"fault", L"FAULT"},
                                        {L"done", L"DONE"},
                                        {L"unchanged", L"AS IS"},
                                        {L"failed", L"FAILED"},
                                        {L"not here", L"NOT HERE"}};

std::wstring Padded(std::wstring text, std::size_t width) {
    text.resize(std::max(text.size(), width), L' ');
    return text;
}

}  // namespace

std::wstring FormatFinding(const Finding& finding, bool json) {
    const StatusNames& names = kStatusNames[static_cast<std::size_t>(finding.status)];
    if (json) {
        return L"{\"item\":" + JsonText(finding.item) + L",\"status\":" + JsonText(names.json) +
               L",\"found\":" + JsonText(finding.found) + L",\"advice\":" +
               JsonText(finding.advice) + L"}";
    }
    std::wstring line = Padded(names.plain, 9) + Padded(finding.item, 18) + L"  " + finding.found;
    if (!finding.advice.empty()) {
        line += L'\n' + finding.advice;
    }
    for (auto i = line.find(L'\n'); i != std::wstring::npos; i = line.find(L'\n', i + 1)) {
        line.insert(i + 1, L"         -> ");
    }
    return line;
}

void Findings::Add(Status status, std::wstring item, std::wstring found, std::wstring advice) {
    PrintLine(
        FormatFinding({status, std::move(item), std::move(found), std::move(advice)}, m_json));
    ++m_counts[static_cast<std::size_t>(status)];
}

void Findings::Check(bool ok,
                     Status otherwise,
                     std::wstring item,
                     std::wstring found,
                     std::wstring advice) {
    Add(ok ? Status::kOk : otherwise, std::move(item), std::move(found),
        ok ? std::wstring() : std::move(advice));
}

void Findings::AddNotHere(std::wstring item, unsigned long error, const std::wstring& known) {
    Add(Status::kNotHere, std::move(item),
        known + (known.empty() ? L"" : L"; ") + L"not known here: " + ErrorText(error),
        error == ERROR_ACCESS_DENIED ? kCheckAgainAdvice : L"");
}

std::wstring GuidText(const GUID& id) {
    wchar_t text[39] = {};
    StringFromGUID2(id, text, std::size(text));
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
