#include "client/requests/answerformat.h"

#include <windows.h>

namespace {

bool IsLoneSurrogate(std::wstring_view text, std::size_t i) {
    if (IS_HIGH_SURROGATE(text[i])) {
        return i + 1 == text.size() || !IS_LOW_SURROGATE(text[i + 1]);
    }
    return IS_LOW_SURROGATE(text[i]) && (i == 0 || !IS_HIGH_SURROGATE(text[i - 1]));
}

}  // namespace

std::wstring JsonText(std::wstring_view text) {
    static constexpr wchar_t kHex[] = L"0123456789abcdef";
    std::wstring out = L"\"";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const wchar_t c = text[i];
        switch (c) {
            case L'"':
            case L'\\':
                out += L'\\';
                out += c;
                break;
            case L'\n':
                out += L"\\n";
                break;
            case L'\r':
                out += L"\\r";
                break;
            case L'\t':
                out += L"\\t";
                break;
            default:
                if (c < 0x20 || IsLoneSurrogate(text, i)) {
                    out += L"\\u";
                    for (int shift = 12; shift >= 0; shift -= 4) {
                        out += kHex[(c >> shift) & 0xF];
                    }
                } else {
                    out += c;
                }
        }
    }
    return out + L'"';
}

std::wstring FormatAnswer(AnswerFormat format,
                          std::wstring_view padding,
                          const RequestValues& answer) {
    const bool unread = !padding.empty() && answer.text == padding;
    const bool none = !padding.empty() && answer.text.empty();
    const std::wstring shown = unread ? L"\"\"" : JsonText(answer.text);
    const wchar_t* flag = answer.flag ? L"true" : L"false";
    const std::wstring number = std::to_wstring(answer.number);
    if (format == AnswerFormat::kJson) {
        return L"{\"command\":" + JsonText(answer.command) + L",\"flag\":" + flag +
               L",\"number\":" + number + L",\"text\":" + shown + L"}";
    }
    return answer.command + L"  flag=" + flag + L"  number=" + number + L"  text=" + shown +
           (unread ? L" (nothing was read)"
            : none ? L" (there is none)"
                   : L"");
}
