#include "client/requests/commandhelp.h"

#include <algorithm>
#include <cwctype>

namespace {

// Returns the number of equal letters at the beginning and at the end of two words.
std::size_t Likeness(std::wstring_view a, std::wstring_view b) {
    const auto same = [](wchar_t x, wchar_t y) { return std::towupper(x) == std::towupper(y); };
    const std::size_t begin = std::ranges::mismatch(a, b, same).in1 - a.begin();
    a.remove_prefix(begin);
    b.remove_prefix(begin);
    return begin +
           (std::mismatch(a.rbegin(), a.rend(), b.rbegin(), b.rend(), same).first - a.rbegin());
}

}  // namespace

const CommandHelp* FindCommandHelp(std::wstring_view command) {
    for (const auto& family : kCommandHelp) {
        const auto line = std::ranges::find(family, command, &CommandHelp::name);
        if (line != family.end()) {
            return &*line;
        }
    }
    return nullptr;
}

std::wstring NearestCommand(std::wstring_view command) {
    std::wstring nearest;
    // At most five letters may be wrong.
    std::size_t most = std::max<std::size_t>(command.size(), 6) - 6;
    for (const auto& family : kCommandHelp) {
        for (const CommandHelp& line : family) {
            if (Likeness(command, line.name) > most) {
                most = Likeness(command, line.name);
                nearest = line.name;
            }
        }
    }
    return nearest;
}
