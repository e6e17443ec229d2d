#include "client/options.h"

#include <algorithm>
#include <climits>
#include <cwchar>
#include <iterator>
#include <string_view>
#include <vector>

#include "client/requests/commandhelp.h"
#include "client/textfile.h"

namespace {

using Action = Options::Action;

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

std::optional<long> ParseInt(const wchar_t* text) {
    return ParseNumber(text, INT_MIN, INT_MAX);
}

std::optional<bool> ParseBool(std::wstring_view text) {
    if (text == L"true" || text == L"false") {
        return text == L"true";
    }
    return std::nullopt;
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

constexpr unsigned Bit(Action action) {
    return 1U << static_cast<unsigned>(action);
}

constexpr unsigned kChecks = Bit(Action::kCheck) | Bit(Action::kReport);
constexpr unsigned kRights = Bit(Action::kGrant) | Bit(Action::kRevoke);

using Store = bool (*)(const wchar_t* value, Options& options);

struct Option {
    const wchar_t* name;
    // What its value may be; null for an option without a value.
    const wchar_t* value;
    // Stores the value; false if it is wrong. Null if there is nothing to store.
    Store store;
    // The actions that it goes with, as bits.
    unsigned goes_with = Bit(Action::kRequest);
    // The action that it stands for itself; kRequest for all others.
    Action action = Action::kRequest;
};

constexpr Option Stands(const wchar_t* name, Action action) {
    return {name, nullptr, nullptr, Bit(action), action};
}

static_assert(kMaximumParallel == 1234, "The text of --parallel says so too.");
constexpr Option kOptions[] = {
    {L"--bool", L"true or false",
     [](auto* value, auto& o) { return (o.flag = ParseBool(value)).has_value(); }},
    {L"--int", L"a whole number from -2147483648 to 2147483647",
     [](auto* value, auto& o) { return (o.number = ParseInt(value)).has_value(); }},
    {L"--text", L"a text", [](auto* value, auto& o) { return (o.text = value).has_value(); }},
    {L"--text-file", L"a file of UTF-8 that can be read, or -",
     [](auto* value, auto& o) { return (o.text = ReadTextFile(value)).has_value(); }},
    {L"--repeat", L"a whole number of at least 1",
     [](auto* value, auto& o) { return StoreCount(value, INT_MAX, o.repeat); }},
    {L"--parallel", L"a whole number from 1 to 1234",
     [](auto* value, auto& o) { return StoreCount(value, kMaximumParallel, o.parallel); }},
    {L"--quiet", nullptr, [](auto* /*value*/, auto& o) { return o.quiet = true; }},
    {L"--json", nullptr, [](auto* /*value*/, auto& o) { return o.json = true; },
     Bit(Action::kRequest) | Bit(Action::kCheck) | kRights},
    {L"--without", L"one or more of modem,device,usb",
     [](auto* value, auto& o) { return StoreWithout(value, o.without); },
     kChecks | Bit(Action::kGrant)},
    {L"--report", L"a file to write",
     [](auto* value, auto& o) { return !(o.report = value).empty(); }, Bit(Action::kReport),
     Action::kReport},
    Stands(L"--list", Action::kList),
    Stands(L"--help", Action::kHelp),
    Stands(L"-h", Action::kHelp),
    Stands(L"--version", Action::kVersion),
    Stands(L"--check", Action::kCheck),
    Stands(L"--grant", Action::kGrant),
    Stands(L"--revoke", Action::kRevoke),
};

// How a second command was probably meant.
std::wstring Hint(const wchar_t* argument) {
    const wchar_t* option = ParseInt(argument)    ? L"--int "
                            : ParseBool(argument) ? L"--bool "
                                                  : L"--text ";
    return L" (did you mean " + (option + std::wstring(argument)) + L"?)";
}

// What is wrong with a line whose options are right one by one; empty if nothing is.
std::wstring Conflict(const Options& options, const std::vector<const Option*>& used) {
    std::wstring action = L"a command";
    for (const Option* option : used) {
        action = option->action != Action::kRequest ? option->name : action;
    }
    for (const Option* option : used) {
        if ((option->goes_with & Bit(options.action)) == 0) {
            return option->name + (L" does not go with " + action);
        }
    }
    if (options.action != Action::kRequest) {
        return options.command ? action + L" takes no command: \"" + *options.command + L"\"" : L"";
    }
    if (!options.command) {
        return L"no command";
    }
    const CommandHelp* help = FindCommandHelp(*options.command);
    const Needs needs = help != nullptr ? help->needs : Needs::kNothing;
    return needs == Needs::kFlag && !options.flag
               ? *options.command + L" needs a flag: --bool true|false"
           : needs == Needs::kNumber && !options.number
               ? *options.command + L" needs a number: --int N"
           : needs == Needs::kText && !options.text
               ? *options.command + L" needs a text: --text TEXT or --text-file PATH"
               : L"";
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
            if (option->action != Action::kRequest) {
                options.action = option->action;
            }
            if (option->value != nullptr && ++i == argc) {
                error = argument + L" needs a value: " + option->value;
            } else if (option->store != nullptr && !option->store(argv[i], options)) {
                error = argument + L" takes " + option->value + L", not \"" + argv[i] + L"\"";
            }
        } else if (argument.starts_with(L"-")) {
            error = L"unknown option " + argument;
        } else if (options.command) {
            error = L"more than one command: \"" + *options.command + L"\" and \"" + argument +
                    L"\"" + Hint(argv[i]);
        } else {
            options.command = argument;
        }
    }
    if (error.empty()) {
        error = Conflict(options, used);
    }
    return error.empty() ? std::optional(options) : std::nullopt;
}
