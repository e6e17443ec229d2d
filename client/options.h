// The command line of tesselctl.
#pragma once

#include <optional>
#include <string>

#include "rpc/endpoint.h"

// What the model does not have, by --without.
struct Without {
    bool modem = false;
    bool device = false;
    bool usb = false;
};

// What one run is asked to do.
struct Options {
    static constexpr wchar_t kRequest[] = L"a command";
    // The option that is an action, "--check", or kRequest.
    std::wstring action = kRequest;
    // The request; the service gets false, 0 and an empty text for a value that is not given.
    std::optional<std::wstring> command;
    std::optional<bool> flag;
    std::optional<long> number;
    std::optional<std::wstring> text;
    bool json = false;
    bool quiet = false;
    // Requests per thread, and threads, each with a context of its own; at least 1.
    int repeat = 1;
    int parallel = 1;
    Without without;
    // Where --report writes.
    std::wstring report;
};

// The options of `argv` (which begins with the program's name), or nothing and in `error` what is
// wrong. Reads the file of --text-file.
std::optional<Options> ParseOptions(int argc, const wchar_t* const* argv, std::wstring& error);

// The most threads that --parallel takes.
inline constexpr int kMaximumParallel = kConcurrentCalls;
