// Proposes a name for a word that is not one.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

// Returns the name with the fewest wrong letters, ignoring case. Nothing if more than `limit`
// letters are wrong, missing or too many, or if two names are equally near.
std::optional<std::wstring> Nearest(std::wstring_view word,
                                    std::span<const std::wstring_view> names,
                                    std::size_t limit);

// Returns the command that `word` nearly names: with at most two wrong letters, or exactly but
// without its family ("getscreenmode").
std::optional<std::wstring> NearestCommand(std::wstring_view word);
