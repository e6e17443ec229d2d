#include "client/requests/commandhelp.h"

#include <algorithm>
#include <cwctype>
#include <numeric>
#include <utility>
#include <vector>

namespace {

// How many letters must be changed, added or left out to make `b` of `a` (Levenshtein distance).
std::size_t Distance(std::wstring_view a, std::wstring_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const bool same = std::towupper(a[i - 1]) == std::towupper(b[j - 1]);
            const std::size_t changed = diagonal + (same ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
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
    // Most of one family's commands differ in more letters.
    std::size_t least = 7;
    for (const auto& family : kCommandHelp) {
        for (const CommandHelp& line : family) {
            const std::size_t distance = Distance(command, line.name);
            if (distance < least) {
                least = distance;
                nearest = line.name;
            }
        }
    }
    return nearest;
}
