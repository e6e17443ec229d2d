// The command line of tesselctl.
#pragma once

#include <optional>
#include <string>

#include "interface/endpoint.h"

// The parts that the notebook does not have: --without.
struct Without {
    bool modem = false;
    bool device = false;
    bool usb = false;
};

struct Options {
    static constexpr wchar_t kRequest[] = L"a command";
    // An option such as "--check", or kRequest.
    std::wstring action = kRequest;
    // The values of the request. A missing flag is false, a missing number 0, a missing text empty.
    std::optional<std::wstring> command;
    std::optional<bool> flag;
    std::optional<long> number;
    std::optional<std::wstring> text;
    bool json = false;
    bool quiet = false;
    // Requests of each thread, and number of threads. Each thread has its own context.
    int repeat = 1;
    int parallel = 1;
    Without without;
    // The path of the file that --report writes.
    std::wstring report;
    // --trace: the file to read; if empty, the time to show events as they come, 0 for no limit.
    std::wstring trace_file;
    int trace_seconds = 0;
};

// Reads the options of `argv`, which begins with the name of the program, and the file of
// --text-file. If they are wrong, returns nothing and stores the reason in `error`.
std::optional<Options> ParseOptions(int argc, const wchar_t* const* argv, std::wstring& error);

// The highest value of --parallel.
inline constexpr int kMaximumParallel = kConcurrentCalls;
