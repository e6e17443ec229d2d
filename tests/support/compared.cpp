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
