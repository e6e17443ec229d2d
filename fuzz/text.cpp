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

    // In one piece and in two: widening has no memory, and narrowing takes it back.
    const std::span bytes(reinterpret_cast<const signed char*>(data), size);
    std::wstring whole;
    AppendWidened(whole, bytes);
    std::wstring pieces;
    const std::size_t cut = size == 0 ? 0 : data[0] % (size + 1);
    AppendWidened(pieces, bytes.first(cut));
    AppendWidened(pieces, bytes.subspan(cut));
    Require(whole == pieces);
    for (std::size_t i = 0; i < size; ++i) {
        Require((whole[i] & 0xFFFF) == (data[i] < 0x80 ? data[i] : 0xFF00 | data[i]));
    }
    Require(LowBytes(whole) == std::string(reinterpret_cast<const char*>(data), size));
    return 0;
}
