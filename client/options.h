// The command line of tesselctl.
#pragma once

#include <optional>
#include <string>

#include "rpc/endpoint.h"

// What one run is asked to do. `command` is empty for the actions that need none.
struct Options {
    enum class Action { kRequest, kList, kHelp, kVersion, kCheck, kGrant, kRevoke };
    Action action = Action::kRequest;
    std::wstring command;
    bool flag = false;
    long number = 0;
    std::optional<std::wstring> text;
    bool json = false;
    bool quiet = false;
    // Requests per thread, and threads, each with a context of its own; at least 1.
    int repeat = 1;
    int parallel = 1;
};

// The options that `argv` (with the program's name first) stands for, or nothing and what is wrong
// with it in `error`.
std::optional<Options> ParseOptions(int argc, const wchar_t* const* argv, std::wstring& error);

// The most threads that --parallel takes: as many as the service serves at once.
inline constexpr int kMaximumParallel = kConcurrentCalls;
