#include "tests/support/compared.h"

#include <algorithm>
#include <cstdio>

namespace {

std::string Hex(const std::string& bytes, std::size_t offset) {
    std::string hex;
    for (std::size_t i = offset; i < std::min(offset + 16, bytes.size()); ++i) {
        char digits[4];
        std::snprintf(digits, sizeof(digits), "%02x ", static_cast<unsigned char>(bytes[i]));
        hex += digits;
    }
    return hex;
}

}  // namespace

testing::AssertionResult SameBytes(const char* left_text,
                                   const char* right_text,
                                   const std::string& left,
                                   const std::string& right) {
    if (left == right) {
        return testing::AssertionSuccess();
    }
    const auto different = std::ranges::mismatch(left, right).in1 - left.begin();
    const auto offset = static_cast<std::size_t>(different);
    return testing::AssertionFailure()
           << "Bytes differ from offset " << offset << " on:\n  " << left_text << " ("
           << left.size() << " bytes): " << Hex(left, offset) << "\n  " << right_text << " ("
           << right.size() << " bytes): " << Hex(right, offset);
}

testing::AssertionResult SameElements(const char* left_text,
                                      const char* right_text,
                                      const std::wstring& left,
                                      const std::wstring& right) {
    if (left == right) {
        return testing::AssertionSuccess();
    }
    const auto different = std::ranges::mismatch(left, right).in1 - left.begin();
    const std::size_t begin = left.substr(0, static_cast<std::size_t>(different)).rfind(L'<');
    const std::size_t start = begin == std::wstring::npos ? 0 : begin;
    const auto element = [=](const std::wstring& document) {
        return testing::PrintToString(
            document.substr(start, document.find(L'<', start + 1) - start));
    };
    return testing::AssertionFailure()
           << "Documents differ from character " << different << " on:\n  " << left_text << ": "
           << element(left) << "\n  " << right_text << ": " << element(right);
}
