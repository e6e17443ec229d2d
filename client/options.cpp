#include "client/options.h"

#include <cwchar>
#include <limits>
#include <string_view>

namespace {

// A whole decimal number between the bounds, and nothing else.
std::optional<long> ParseNumber(const wchar_t* text, long long minimum, long long maximum) {
    wchar_t* end = nullptr;
    const long long value = std::wcstoll(text, &end, 10);
    const bool is_number = end != text && *end == L'\0';
    // A number beyond 64 bits comes back as one of the extremes, which are out of bounds too.
    if (!is_number || value < minimum || value > maximum) {
        return std::nullopt;
    }
    return static_cast<long>(value);
}

std::optional<bool> ParseBool(std::wstring_view text) {
    if (text == L"true") {
        return true;
    }
    if (text == L"false") {
        return false;
    }
    return std::nullopt;
}

// Stores the value of one option; what is wrong with it otherwise.
const wchar_t* StoreValue(std::wstring_view option, const wchar_t* value, Options& options) {
    using Int32 = std::numeric_limits<int>;
    if (option == L"--bool") {
        const auto flag = ParseBool(value);
        options.flag = flag.value_or(false);
        return flag ? nullptr : L"--bool takes true or false";
    }
    if (option == L"--int") {
        const auto number = ParseNumber(value, Int32::min(), Int32::max());
        options.number = number.value_or(0);
        return number ? nullptr : L"--int takes a whole number from -2147483648 to 2147483647";
    }
    if (option == L"--text") {
        options.text = value;
        return nullptr;
    }
    if (option == L"--repeat") {
        const auto number = ParseNumber(value, 1, Int32::max());
        options.repeat = static_cast<int>(number.value_or(1));
        return number ? nullptr : L"--repeat takes a whole number of at least 1";
    }
    const auto number = ParseNumber(value, 1, kMaximumParallel);
    options.parallel = static_cast<int>(number.value_or(1));
    static const std::wstring wrong =
        L"--parallel takes a whole number from 1 to " + std::to_wstring(kMaximumParallel);
    return number ? nullptr : wrong.c_str();
}

bool TakesValue(std::wstring_view option) {
    return option == L"--bool" || option == L"--int" || option == L"--text" ||
           option == L"--repeat" || option == L"--parallel";
}

// Options that stand alone.
bool StoreSwitch(std::wstring_view option, Options& options) {
    if (option == L"--json") {
        options.json = true;
    } else if (option == L"--quiet") {
        options.quiet = true;
    } else if (option == L"--list") {
        options.action = Options::Action::kList;
    } else if (option == L"--help" || option == L"-h") {
        options.action = Options::Action::kHelp;
    } else if (option == L"--version") {
        options.action = Options::Action::kVersion;
    } else if (option == L"--check") {
        options.action = Options::Action::kCheck;
    } else if (option == L"--grant") {
        options.action = Options::Action::kGrant;
    } else if (option == L"--revoke") {
        options.action = Options::Action::kRevoke;
    } else {
        return false;
    }
    return true;
}

}  // namespace

std::optional<Options> ParseOptions(int argc, const wchar_t* const* argv, std::wstring& error) {
    Options options;
    bool has_command = false;
    for (int i = 1; i < argc; ++i) {
        const std::wstring_view argument = argv[i];
        if (TakesValue(argument)) {
            if (i + 1 == argc) {
                error = std::wstring(argument) + L" needs a value";
                return std::nullopt;
            }
            if (const wchar_t* wrong = StoreValue(argument, argv[++i], options)) {
                error = std::wstring(wrong) + L", not \"" + argv[i] + L"\"";
                return std::nullopt;
            }
        } else if (argument.starts_with(L"-")) {
            if (!StoreSwitch(argument, options)) {
                error = L"unknown option " + std::wstring(argument);
                return std::nullopt;
            }
        } else if (has_command) {
            error = L"more than one command: \"" + options.command + L"\" and \"" +
                    std::wstring(argument) + L"\"";
            return std::nullopt;
        } else {
            options.command = argument;
            has_command = true;
        }
    }
    if (options.action == Options::Action::kRequest && !has_command) {
        error = L"no command";
        return std::nullopt;
    }
    return options;
}
