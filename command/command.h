// The tables of the command families, and the function that carries out and answers a command.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <span>
#include <string_view>

#include "command/commandhelp.h"

// The values of an answer. They are the values of the request until the action changes them. An
// action may overwrite `text` in place, up to its length; SetText replaces it.
struct Answer {
    bool flag;
    long number;
    wchar_t* text;
};

// One row of a family's table of commands.
struct Command {
    std::wstring_view name;
    // Does the work of the command, and releases everything before it returns. If it throws, the
    // answer has the values that were set until then. Null: the command is never answered.
    void (*action)(Answer& answer);
    // Whether RemoteRequest hands the command to the family.
    bool routed = true;
};

// The handler of a family: calls AnswerCommand with the table of the family. `binding` is not used.
// The strings are those of the request.
using CommandHandler = void(handle_t binding,
                            const wchar_t* command,
                            bool data_bool,
                            long data_int,
                            wchar_t* data_string);

// The names in the tables are shorter. Not more of a request's command is read than this.
inline constexpr std::size_t kNameLimit = 64;

// Returns the command of a request, cut to kNameLimit. What is cut has no row.
inline std::wstring_view NameOf(const wchar_t* command) {
    return {command, wcsnlen(command, kNameLimit)};
}

// Returns the row with this name, compared completely and case-sensitively. Null if there is none.
inline const Command* FindCommand(std::span<const Command> commands, std::wstring_view name) {
    const auto row = std::ranges::find(commands, name, &Command::name);
    return row == commands.end() ? nullptr : &*row;
}

// Runs the action of the row named `command` and sends the answer with ReportResult, on the calling
// thread. Does nothing if there is no such row or it has no action. If the callback fails, a
// structured exception of the RPC runtime leaves this function.
void AnswerCommand(std::span<const Command> commands,
                   const wchar_t* command,
                   bool flag,
                   long number,
                   wchar_t* text);

// For actions: makes `text` the text of the answer. The text is freed after the answer is sent. If
// the callback fails, it is freed before the thread's next action or when the thread ends. Throws
// std::bad_alloc if FlsSetValue fails.
void SetText(Answer& answer, std::unique_ptr<wchar_t[]> text);

// The name of a command as a template argument, which the compiler shows in its messages.
struct CommandName {
    char text[kNameLimit] = {};
};

constexpr bool IsOffered(const Command& command) {
    return command.routed;
}
constexpr bool IsOffered(const CommandHelp& /*help*/) {
    return true;
}

// Returns the name of the first offered row that `others` does not offer, or an empty name.
constexpr CommandName FirstWithout(const auto& rows, const auto& others) {
    CommandName missing;
    for (const auto& row : rows) {
        const std::wstring_view name = row.name;
        const auto is_same = [=](const auto& other) {
            return IsOffered(other) && other.name == name;
        };
        if (IsOffered(row) && std::ranges::none_of(others, is_same)) {
            std::ranges::transform(name, missing.text, [](wchar_t unit) { return char(unit); });
            break;
        }
    }
    return missing;
}

template <CommandName without_help, CommandName without_row>
consteval bool NothingMissing() {
    static_assert(*without_help.text == '\0', "This command has no line in command/commandhelp.h.");
    static_assert(*without_row.text == '\0',
                  "This line of command/commandhelp.h names no routed command of its family.");
    return true;
}

// If a family's table and its lines of help differ, compilation fails and shows the name.
template <const auto& commands, const auto& help>
consteval bool SameCommands() {
    static_assert(std::ranges::all_of(
        commands, [](const Command& command) { return command.name.size() < kNameLimit; }));
    return NothingMissing<FirstWithout(commands, help), FirstWithout(help, commands)>();
}
