#include "client/options.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <iterator>
#include <string_view>
#include <vector>

#include "client/nearest.h"
#include "client/requests/findcommand.h"
#include "client/textfile.h"

namespace {

// Returns nothing if `text` is not a whole decimal number from `minimum` to `maximum`.
std::optional<long> ParseNumber(const wchar_t* text, long long minimum, long long maximum) {
    wchar_t* end = nullptr;
    // For a number with more than 64 bits, wcstoll returns a value outside the range too.
    const long long value = std::wcstoll(text, &end, 10);
    const bool is_number = end != text && *end == L'\0' && value >= minimum && value <= maximum;
    return is_number ? std::optional(static_cast<long>(value)) : std::nullopt;
}

std::optional<bool> ParseBool(std::wstring_view text) {
    const bool flag = text == L"true";
    return flag || text == L"false" ? std::optional(flag) : std::nullopt;
}

bool StoreCount(const wchar_t* text, int maximum, int& count) {
    const auto number = ParseNumber(text, 1, maximum);
    count = static_cast<int>(number.value_or(1));
    return number.has_value();
}

bool StoreWithout(std::wstring names, Without& without) {
    names += L',';
    for (std::size_t end = 0; (end = names.find(L',')) != std::wstring::npos;) {
        const std::wstring name = names.substr(0, end);
        bool* place = name == L"modem"    ? &without.modem
                      : name == L"device" ? &without.device
                      : name == L"usb"    ? &without.usb
                                          : nullptr;
        if (place == nullptr) {
            return false;
        }
        *place = true;
        names.erase(0, end + 1);
    }
    return true;
}

// A text of digits is a time.
bool StoreTrace(const wchar_t* value, Options& options) {
    if (value[std::wcsspn(value, L"0123456789")] == L'\0') {
        return StoreCount(value, 86400, options.trace_seconds);
    }
    options.trace_file = value;
    return true;
}

struct Option {
    std::wstring_view name;
    // The actions that accept this option. An option that is an action accepts only itself.
    std::wstring_view goes_with;
    // Describes the permitted values. Null: the option has no value.
    const wchar_t* value = nullptr;
    // Stores the value. Returns false if it is wrong. Null: there is nothing to store.
    bool (*store)(const wchar_t* value, Options& options) = nullptr;
    // Whether the value may be missing. Then nothing is stored.
    bool optional = false;
};

constexpr const wchar_t* kRequest = Options::kRequest;
constexpr const wchar_t* kHelp = L"--help";

bool ShowHelp(const wchar_t* /*value*/, Options& options) {
    options.action = kHelp;
    return true;
}

constexpr Option kOptions[] = {
    {L"--bool", kRequest, L"true or false",
     [](auto* value, auto& o) { return (o.flag = ParseBool(value)).has_value(); }},
    {L"--int", kRequest, L"a whole number from -2147483648 to 2147483647",
     [](auto* value, auto& o) {
         return (o.number = ParseNumber(value, INT_MIN, INT_MAX)).has_value();
     }},
    {L"--text", kRequest, L"a text",
     [](auto* value, auto& o) { return (o.text = value).has_value(); }},
    {L"--text-file", kRequest, L"a file of UTF-8 that can be read, or -",
     [](auto* value, auto& o) { return (o.text = ReadTextFile(value)).has_value(); }},
    {L"--repeat", kRequest, L"a whole number of at least 1",
     [](auto* value, auto& o) { return StoreCount(value, INT_MAX, o.repeat); }},
    {L"--parallel", kRequest, L"a whole number from 1 to 1234",
     [](auto* value, auto& o) { return StoreCount(value, kMaximumParallel, o.parallel); }},
    {L"--quiet", kRequest, nullptr, [](auto* /*value*/, auto& o) { return o.quiet = true; }},
    {L"--json", L"a command, --check, --grant, --revoke, --trace", nullptr,
     [](auto* /*value*/, auto& o) { return o.json = true; }},
    {L"--without", L"--check, --report, --grant", L"one or more of modem,device,usb",
     [](auto* value, auto& o) { return StoreWithout(value, o.without); }},
    {L"--report", L"--report", L"a file to write",
     [](auto* value, auto& o) { return !(o.report = value).empty(); }},
    {L"--trace", L"--trace", L"a number of seconds up to 86400, or the path of a file", StoreTrace,
     true},
    {L"--list", L"--list"},
    {L"--help", kHelp},
    {L"-h", kHelp, nullptr, ShowHelp},
    {L"-?", kHelp, nullptr, ShowHelp},
    {L"/?", kHelp, nullptr, ShowHelp},
    {L"help", kHelp, nullptr, ShowHelp},
    {L"--version", L"--version"},
    {L"--check", L"--check"},
    {L"--grant", L"--grant"},
    {L"--revoke", L"--revoke"},
};
static_assert(kMaximumParallel == 1234, "the text of --parallel names the same number");

// Returns " (did you mean --check?)" for a word that is nearly an option, with other characters
// before it or none. Empty for all other words.
std::wstring OptionMeant(std::wstring_view word) {
    std::vector<std::wstring_view> names;
    for (const Option& option : kOptions) {
        if (option.name.starts_with(L"--")) {
            names.push_back(option.name.substr(2));
        }
    }
    word.remove_prefix(std::min(word.find_first_not_of(L"-/"), word.size()));
    const auto name = Nearest(word, names, 1);
    return name ? L" (did you mean --" + *name + L"?)" : L"";
}

// Checks how the options fit together. Returns what is wrong, or an empty text.
std::wstring Conflict(const Options& options, const std::vector<const Option*>& used) {
    for (const Option* option : used) {
        if (option->goes_with.find(options.action) == std::wstring_view::npos) {
            return std::wstring(option->name) + L" does not go with " + options.action;
        }
    }
    if (options.action != kRequest) {
        return options.command ? options.action + L" takes no command" : L"";
    }
    if (!options.command) {
        return L"no command";
    }
    const CommandHelp* help = FindCommandHelp(*options.command);
    const std::wstring meant = help == nullptr ? OptionMeant(*options.command) : L"";
    if (!meant.empty()) {
        return L"\"" + *options.command + L"\" is not a command" + meant;
    }
    const Needs needs = help != nullptr ? help->needs : Needs::kNothing;
    const wchar_t* missing = needs == Needs::kFlag && !options.flag ? L"a flag: --bool true|false"
                             : needs == Needs::kNumber && !options.number ? L"a number: --int N"
                             : needs == Needs::kText && !options.text
                                 ? L"a text: --text TEXT or --text-file PATH"
                                 : nullptr;
    return missing != nullptr ? *options.command + L" needs " + missing : L"";
}

// Returns the error for a second command, with the option that was probably meant.
std::wstring SecondCommand(const std::wstring& first, const std::wstring& second) {
    const wchar_t* option = ParseNumber(second.c_str(), INT_MIN, INT_MAX) ? L"--int "
                            : ParseBool(second)                           ? L"--bool "
                                                                          : L"--text ";
    return L"more than one command: \"" + first + L"\" and \"" + second + L"\" (did you mean " +
           option + second + L"?)";
}

}  // namespace

std::optional<Options> ParseOptions(int argc, const wchar_t* const* argv, std::wstring& error) {
    Options options;
    std::vector<const Option*> used;
    for (int i = 1; i < argc && error.empty(); ++i) {
        const std::wstring argument = argv[i];
        const auto* option = std::ranges::find(kOptions, argument, &Option::name);
        if (option != std::end(kOptions)) {
            used.push_back(option);
            if (option->goes_with == option->name) {
                options.action = option->name;
            }
            if (option->optional && (i + 1 == argc || argv[i + 1][0] == L'-')) {
                continue;
            }
            if (option->value != nullptr && ++i == argc) {
                error = argument + L" needs a value: " + option->value;
            } else if (option->store != nullptr && !option->store(argv[i], options)) {
                error = argument + L" takes " + option->value + L", not \"" + argv[i] + L"\"";
            }
        } else if (argument.starts_with(L"-") || argument.starts_with(L"/")) {
            error = L"unknown option " + argument + OptionMeant(argument);
        } else if (options.command) {
            error = SecondCommand(*options.command, argument);
        } else {
            options.command = argument;
        }
    }
    if (error.empty()) {
        error = Conflict(options, used);
    }
    return error.empty() ? std::optional(options) : std::nullopt;
}
