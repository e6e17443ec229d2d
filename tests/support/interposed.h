// Replaces Windows functions in a test program by functions that count their calls, let one call
// fail, and otherwise call Windows or a function of the test.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string_view>
#include <type_traits>

#include "tests/support/replacedimport.h"

// The call that fails: number `call` (from 1 on; 0: none) of `function`. It returns `result` and
// sets the last error.
struct Fault {
    const char* function = "";
    int call = 0;
    std::intptr_t result = 0;
    DWORD last_error = 0;
};

// Counts, while `on`, the calls of the fault's function and the resources that are open.
struct Watch {
    bool on = false;
    Fault fault;
    int calls = 0;
    int held = 0;
};
inline Watch g_watch;

// How a call changes the number of held resources. kEnters calls the original function even if the
// call is to fail.
enum class Effect { kNone, kOpensHandle, kOpensOnZero, kEnters, kCloses };

// Counts a call and returns whether it is the one that fails.
inline bool CountedCallFails(std::string_view function) {
    return g_watch.on && function == g_watch.fault.function &&
           ++g_watch.calls == g_watch.fault.call;
}

inline void CountHeld(Effect effect, std::intptr_t result) {
    if (g_watch.on && effect == Effect::kCloses) {
        --g_watch.held;
    } else if (g_watch.on &&
               (effect == Effect::kEnters || (effect == Effect::kOpensOnZero && result == 0) ||
                (effect == Effect::kOpensHandle && result != 0 && result != -1))) {
        ++g_watch.held;
    }
}

// Calls the Windows function of that name.
template <typename Function, typename... Arguments>
auto CallWindows(const char* name, Arguments... arguments) {
    FARPROC found = nullptr;
    for (const wchar_t* library :
         {L"kernel32", L"advapi32", L"ole32", L"oleaut32", L"rpcrt4", L"msvcrt", L"ucrtbase"}) {
        found = found != nullptr ? found : GetProcAddress(LoadLibraryW(library), name);
    }
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(found))(arguments...);
}

template <typename Watched, typename Function>
struct Interposed;

template <typename Watched, typename Result, typename... Arguments>
struct Interposed<Watched, Result(Arguments...)> {
    static Result WINAPI Call(Arguments... arguments) {
        const bool fails = CountedCallFails(Watched::kName);
        if constexpr (std::is_void_v<Result>) {
            CountHeld(Watched::kEffect, 0);
            Watched::Act(arguments...);
        } else {
            Result result = {};
            if (!fails || Watched::kEffect == Effect::kEnters) {
                result = Watched::Act(arguments...);
                CountHeld(Watched::kEffect, (std::intptr_t)result);
            }
            if (fails) {
                SetLastError(g_watch.fault.last_error);
                result = (Result)g_watch.fault.result;
            }
            return result;
        }
    }
};

// Use at namespace scope. INTERPOSE calls Windows, INTERPOSE_NOTED calls `note` with the arguments
// and then Windows, INTERPOSE_BY evaluates `act`, and INTERPOSE_GIVES returns a constant.
#define INTERPOSE_BY(function, effect, act)                                           \
    struct Watched_##function {                                                       \
        static constexpr const char* kName = #function;                               \
        static constexpr Effect kEffect = Effect::effect;                             \
        template <typename... Arguments>                                              \
        static auto Act([[maybe_unused]] Arguments... arguments) {                    \
            return act;                                                               \
        }                                                                             \
    };                                                                                \
    using Interposed_##function = Interposed<Watched_##function, decltype(function)>; \
    REPLACE_IMPORT(function, Interposed_##function::Call)

// In `act`: calls Windows.
#define WINDOWS(function) CallWindows<decltype(function)>(#function, arguments...)

#define INTERPOSE(function, effect) INTERPOSE_BY(function, effect, WINDOWS(function))

#define INTERPOSE_NOTED(function, effect, note) \
    INTERPOSE_BY(function, effect, (note(arguments...), WINDOWS(function)))

#define INTERPOSE_GIVES(function, effect, result) \
    INTERPOSE_BY(function, effect, ((decltype(function(arguments...)))std::intptr_t{result}))
