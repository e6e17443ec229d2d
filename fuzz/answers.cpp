// The strings in the lines that show answers are well-formed, and reading one back gives the text.
#include <cwchar>

#include "client/requests/answerformat.h"
#include "fuzz/input.h"

namespace {

// The text of a JSON string.
std::wstring ReadBack(const std::wstring& json) {
    constexpr std::wstring_view kEscapes = L"\"\\nrt";
    Require(json.size() >= 2 && json.front() == L'"' && json.back() == L'"');
    std::wstring text;
    for (std::size_t i = 1; i + 1 < json.size(); ++i) {
        Require(json[i] >= 0x20 && json[i] != L'"');
        if (json[i] != L'\\') {
            text += json[i];
            continue;
        }
        Require(++i + 1 < json.size());
        if (json[i] == L'u') {
            text += static_cast<wchar_t>(std::wcstol(json.substr(i + 1, 4).c_str(), nullptr, 16));
            i += 4;
        } else {
            Require(kEscapes.find(json[i]) != kEscapes.npos);
            text += L"\"\\\n\r\t"[kEscapes.find(json[i])];
        }
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring text = Strings(data, size)[0];
    const std::wstring json = JsonText(text);
    Require(ReadBack(json) == text);
    // The two units of a surrogate pair stay together.
    for (std::size_t i = 1; i < json.size(); ++i) {
        Require(((json[i - 1] & 0xFC00) == 0xD800) == ((json[i] & 0xFC00) == 0xDC00));
    }
    return 0;
}
