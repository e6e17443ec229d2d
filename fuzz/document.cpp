// Compares the text of a document with a plain model, and checks the narrow form of a path.
#include <cwchar>

#include "document/widetext.h"
#include "fuzz/input.h"
#include "win32/lowbytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    std::wstring model;
    for (const char byte : bytes.substr(0, bytes.find('\x1A'))) {
        model += static_cast<wchar_t>(static_cast<signed char>(byte));
    }
    for (std::size_t pair = 0; (pair = model.find(L"\r\n", pair)) != model.npos; ++pair) {
        model.erase(pair, 1);
    }
    model += model.empty() || model.ends_with(L'\n') ? L"" : L"\n";
    // Appends pieces, whose length the input chooses. The text grows: too little memory is
    // reserved.
    const std::size_t piece = 1 + bytes.size() % 7;
    WideText text(bytes.size() / 4);
    for (std::size_t i = 0; i < size && text.Append(bytes.substr(i, piece)); i += piece) {
    }
    Require(std::wmemcmp(text.Finish().get(), model.c_str(), model.size() + 1) == 0);

    const std::string narrow = LowBytes(Units(data, size));
    Require(narrow.size() == (size + 1) / 2);
    for (std::size_t i = 0; i < narrow.size(); ++i) {
        Require(static_cast<std::uint8_t>(narrow[i]) == data[2 * i]);
    }
    return 0;
}
