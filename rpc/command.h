// How every command family names, carries out and answers its commands.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <algorithm>
#include <cwchar>
#include <memory>
#include <span>
#include <string_view>

#include "rpc/commandhelp.h"

// The values of an answer. They begin as the request's own, and the command's action changes them.
// An action may overwrite `text` in place, up to its length; SetText replaces it.
struct Answer {
    bool flag;
    long number;
    wchar_t* text;
};

// One row of a family's table of commands.
struct Command {
    const wchar_t* name;
    // Does the command's work and has released everything when it returns. If it throws, the answer
    // has the values that were set by then. Null: the command is accepted and never answered.
    void (*action)(Answer& answer);
    // Whether RemoteRequest hands the command to the family.
    bool routed = true;
};

// A family's handler: finds the command in the family's table, carries it out and answers it on the
// calling thread, as AnswerCommand does. `binding` is not used. The strings are the request's own.
using CommandHandler = void(handle_t binding,
                            const wchar_t* command,
                            bool data_bool,
                            long data_int,
                            wchar_t* data_string);

// The row with that name, compared whole and case-sensitively; null if there is none.
inline const Command* FindCommand(std::span<const Command> commands, const wchar_t* name) {
    const auto row = std::ranges::find_if(
        commands, [=](const Command& command) { return std::wcscmp(name, command.name) == 0; });
    return row == commands.end() ? nullptr : &*row;
}

// Carries out the row of `commands` named `command` and sends its answer with ReportResult, which
// may leave this function as a structured exception of the RPC runtime. Does nothing and sends
// nothing if there is no such row or the row has no action.
void AnswerCommand(std::span<const Command> commands,
                   const wchar_t* command,
                   bool flag,
                   long number,
                   wchar_t* text);

// For actions: makes `text` the answer's text. It is freed after the answer is sent. If a
// structured exception ends the request first, it is freed before the thread's next action or when
// the thread ends. Throws std::bad_alloc if FlsSetValue fails.
void SetText(Answer& answer, std::unique_ptr<wchar_t[]> text);

// The name of a command as a template argument: the compiler shows it in its messages.
struct CommandName {
    char text[64] = {};
};

constexpr bool IsOffered(const Command& command) {
    return command.routed;
}
constexpr bool IsOffered(const CommandHelp& /*help*/) {
    return true;
}

// The name of the first offered row that is not among the offered `others`, or an empty name.
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
    static_assert(*without_help.text == '\0', "This command has no line in rpc/commandhelp.h.");
    static_assert(*without_row.text == '\0',
                  "This line of rpc/commandhelp.h names no routed command of its family.");
    return true;
}

// Stops the compiler, and shows the name, if a family's table and its lines of help differ.
template <const auto& commands, const auto& help>
consteval bool SameCommands() {
    return NothingMissing<FirstWithout(commands, help), FirstWithout(help, commands)>();
}
