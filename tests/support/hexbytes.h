// Converts bytes from and to text.
#pragma once

#include <iomanip>
#include <sstream>
#include <string>

// Converts pairs of hexadecimal digits to bytes. `*n` means n zero bytes. Blanks and `|` are
// ignored. For a word `@name`, calls `named` with the name and the offset, and takes the bytes it
// returns.
template <typename Named = std::string (*)(const std::string&, std::size_t)>
std::string HexBytes(const std::string& text, Named named = nullptr) {
    std::string bytes;
    for (std::istringstream stream(text); stream >> std::ws;) {
        const int next = stream.get();
        if (next == '@') {
            std::string name;
            stream >> name;
            bytes += named(name, bytes.size());
        } else if (next == '*') {
            std::size_t count = 0;
            stream >> count;
            bytes.resize(bytes.size() + count);
        } else if (next != '|' && next != EOF) {
            const std::string digits = {static_cast<char>(next), static_cast<char>(stream.get())};
            bytes += static_cast<char>(std::stoul(digits, nullptr, 16));
        }
    }
    return bytes;
}

// The bytes as hexadecimal digits, in lines of 16 that begin with their offset, so that a failed
// comparison shows where they differ.
inline std::string HexLines(const std::string& bytes) {
    std::ostringstream lines;
    lines << std::hex << std::setfill('0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i % 16 == 0) {
            lines << "\n" << std::setw(4) << i << ":";
        }
        lines << " " << std::setw(2) << int{static_cast<unsigned char>(bytes[i])};
    }
    return lines.str();
}
