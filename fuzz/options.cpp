// The command line of tesselctl.
#include <algorithm>
#include <vector>

#include "client/options.h"
#include "fuzz/input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<std::wstring> arguments = Strings(data, size);
    std::vector<const wchar_t*> argv = {L"tesselctl"};
    for (const std::wstring& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    std::wstring error;
    const auto options = ParseOptions(static_cast<int>(argv.size()), argv.data(), error);
    Require(options.has_value() == error.empty());
    if (!options) {
        return 0;
    }
    Require(options->repeat >= 1 && options->parallel >= 1 &&
            options->parallel <= kMaximumParallel);
    Require(options->number >= -2147483648L && options->number <= 2147483647L);
    const auto given = [&](const std::wstring& text) {
        return std::ranges::find(arguments, text) != arguments.end();
    };
    if (options->action == Options::Action::kRequest) {
        Require(given(options->command));
    }
    Require(!options->text || (given(L"--text") && given(*options->text)));
    Require(!options->json || given(L"--json"));
    Require(!options->flag || given(L"true"));
    return 0;
}
