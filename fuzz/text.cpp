// Narrow text made of wide and the other way round.
#include "fuzz/input.h"
#include "text/lowbytes.h"
#include "text/widebytes.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::wstring units = Units(data, size);
    const std::string low = LowBytes(units);
    Require(low.size() == units.size());
    for (std::size_t i = 0; i < low.size(); ++i) {
        Require(static_cast<std::uint8_t>(low[i]) == data[2 * i]);
    }

    // Text mode, byte by byte, with no room but what WidenText asks for.
    std::vector<signed char> bytes(data, data + size);
    bytes.resize(size + kWidenBlock);
    std::vector<wchar_t> wide(size + kWidenBlock);
    const signed char* next = bytes.data();
    const wchar_t* const end = WidenText(next, bytes.data() + size, wide.data());
    std::wstring expected;
    std::size_t i = 0;
    for (; i < size && data[i] != 0x1A && (data[i] != '\r' || i + 1 < size); ++i) {
        if (data[i] != '\r' || data[i + 1] != '\n') {
            expected += static_cast<wchar_t>(static_cast<signed char>(data[i]));
        }
    }
    Require(expected == std::wstring_view(wide.data(), end - wide.data()));
    Require(next == bytes.data() + i);
    return 0;
}
