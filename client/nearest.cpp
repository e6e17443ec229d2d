#include "client/nearest.h"

#include <algorithm>
#include <cwctype>
#include <numeric>
#include <vector>

#include "command/commandhelp.h"

namespace {

// Returns the number of letters to change, insert or remove to make one word of the other.
std::size_t Distance(std::wstring_view from, std::wstring_view to) {
    // By the number of letters of `to` that are made.
    std::vector<std::size_t> distances(to.size() + 1);
    std::iota(distances.begin(), distances.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = distances[0]++;
        for (std::size_t j = 0; j < to.size(); ++j) {
            const bool same = std::towupper(from[i]) == std::towupper(to[j]);
            const std::size_t changed = diagonal + (same ? 0 : 1);
            diagonal = distances[j + 1];
            distances[j + 1] = std::min({changed, diagonal + 1, distances[j] + 1});
        }
    }
    return distances.back();
}

}  // namespace

std::optional<std::wstring> Nearest(std::wstring_view word,
                                    std::span<const std::wstring_view> names,
                                    std::size_t limit) {
    std::optional<std::wstring> nearest;
    std::size_t least = limit + 1;
    for (const std::wstring_view name : names) {
        const std::size_t distance = Distance(word, name);
        if (distance < least) {
            least = distance;
            nearest = name;
        } else if (distance == least) {
            nearest.reset();
        }
    }
    return nearest;
}

std::optional<std::wstring> NearestCommand(std::wstring_view word) {
    std::vector<std::wstring_view> names;
    std::vector<std::wstring_view> short_names;
    for (const auto& family : kCommandHelp) {
        for (const CommandHelp& command : family) {
            names.emplace_back(command.name);
            short_names.push_back(names.back().substr(names.back().find(L'_') + 1));
        }
    }
    if (const auto short_name = Nearest(word, short_names, 0)) {
        return std::wstring(*std::ranges::find_if(
            names, [&](std::wstring_view name) { return name.ends_with(L"_" + *short_name); }));
    }
    return Nearest(word, names, 2);
}
