// The lines that show answers: reading one back gives the answer.
#include <algorithm>
#include <cwchar>
#include <optional>

#include "client/answerformat.h"
#include "fuzz/input.h"

namespace {

// Takes a JSON string off the front of `line`; what it holds, or nothing if it is none.
std::optional<std::wstring> TakeString(std::wstring_view& line) {
    std::wstring text;
    if (!line.starts_with(L'"')) {
        return std::nullopt;
    }
    for (std::size_t i = 1; i < line.size(); ++i) {
        const wchar_t c = line[i];
        if (c == L'"') {
            line.remove_prefix(i + 1);
            return text;
        }
        if (c < 0x20) {
            return std::nullopt;
        }
        if (c != L'\\') {
            text += c;
            continue;
        }
        if (++i == line.size()) {
            return std::nullopt;
        }
        switch (line[i]) {
            case L'u':
                if (line.size() - i < 5) {
                    return std::nullopt;
                }
                text += static_cast<wchar_t>(
                    std::wcstol(std::wstring(line.substr(i + 1, 4)).c_str(), nullptr, 16));
                i += 4;
                break;
            case L'n':
                text += L'\n';
                break;
            case L'r':
                text += L'\r';
                break;
            case L't':
                text += L'\t';
                break;
            default:
                text += line[i];
        }
    }
    return std::nullopt;
}

void RequireFront(std::wstring_view& line, std::wstring_view front) {
    Require(line.starts_with(front));
    line.remove_prefix(front.size());
}

// No half of a surrogate pair stands alone, so that the line can be written as UTF-8.
void RequireWhole(std::wstring_view line) {
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] >= 0xD800 && line[i] <= 0xDBFF) {
            Require(i + 1 < line.size() && line[i + 1] >= 0xDC00 && line[i + 1] <= 0xDFFF);
            ++i;
        } else {
            Require(line[i] < 0xDC00 || line[i] > 0xDFFF);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 5) {
        return 0;
    }
    const bool flag = (data[0] & 1) != 0;
    const long number = static_cast<std::int32_t>(data[1] | data[2] << 8 | data[3] << 16 |
                                                  std::uint32_t{data[4]} << 24);
    std::vector<std::wstring> strings = Strings(data + 5, size - 5);
    strings.resize(3);
    const std::wstring& command = strings[0];
    const std::wstring& text = strings[1];
    const std::wstring& padding = strings[2];
    const bool unread = !padding.empty() && text == padding;

    const std::wstring json =
        FormatAnswer(AnswerFormat::kJson, padding, command, flag, number, text);
    RequireWhole(json);
    std::wstring_view line = json;
    RequireFront(line, L"{\"command\":");
    Require(TakeString(line) == command);
    RequireFront(line, flag ? L",\"flag\":true" : L",\"flag\":false");
    RequireFront(line, L",\"number\":" + std::to_wstring(number) + L",\"text\":");
    Require(TakeString(line) == (unread ? L"" : text));
    Require(line == L"}");

    const std::wstring plain =
        FormatAnswer(AnswerFormat::kPlain, padding, command, flag, number, text);
    line = plain;
    RequireFront(line, command + (flag ? L"  flag=true" : L"  flag=false") + L"  number=" +
                           std::to_wstring(number) + L"  text=");
    Require(TakeString(line) == (unread ? L"" : text));
    Require(line == (unread ? L" (nothing was read)" : L""));
    return 0;
}
