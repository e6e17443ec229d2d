// Windows functions of one test program that are counted and fail where the test wants it. What
// they do otherwise is Windows' doing or a stand-in's.
#pragma once

#include <windows.h>

#include <cstdint>
#include <type_traits>

#include "tests/support/replacedimport.h"

// The one call that is to fail: the `call`-th (from 1 on; 0 for none) of `function`, which then
// returns `result` and sets the last error.
struct Fault {
    const char* function = "";
    int call = 0;
    std::intptr_t result = 0;
    DWORD last_error = 0;
};

// What is counted while `on`: the calls of the fault's function, and what all interposed functions
// gave out and did not take back.
struct Watch {
    bool on = false;
    Fault fault;
    int calls = 0;
    int held = 0;
};
extern Watch g_watch;

// What a call does to what its caller holds. A call that enters or ends something does so even when
// it is told to fail.
enum class Effect { kNone, kOpensHandle, kOpensOnZero, kEnters, kEnds, kCloses };

// Counts a call and tells whether it is the one that fails.
bool CountedCallFails(const char* function);

// The function of that name in Windows' own libraries.
void* WindowsFunction(const char* name);

// Lets Windows act. Not a guarded local: the guard's own code calls Windows.
template <typename Watched, typename Function>
struct Windows {
    static inline Function* function = nullptr;

    template <typename... Arguments>
    static auto Act(Arguments... arguments) {
        if (function == nullptr) {
            function = reinterpret_cast<Function*>(WindowsFunction(Watched::kName));
        }
        return function(arguments...);
    }
};

template <typename Watched, typename Function>
struct Interposed;

template <typename Watched, typename Result, typename... Arguments>
struct Interposed<Watched, Result(Arguments...)> {
    static Result WINAPI Call(Arguments... arguments) {
        constexpr bool kActsAnyway = Watched::kEffect >= Effect::kEnters;
        const bool fails = CountedCallFails(Watched::kName);
        if constexpr (std::is_void_v<Result>) {
            CountHeld(true);
            Watched::Act(arguments...);
        } else {
            Result result = {};
            if (!fails || kActsAnyway) {
                result = Watched::Act(arguments...);
                CountHeld(Watched::kEffect != Effect::kOpensHandle
                              ? (std::intptr_t)result == 0
                              : (std::intptr_t)result != 0 && (std::intptr_t)result != -1);
            }
            if (fails) {
                SetLastError(g_watch.fault.last_error);
                result = (Result)g_watch.fault.result;
            }
            return result;
        }
    }

 private:
    static void CountHeld(bool opened) {
        const bool opens =
            Watched::kEffect == Effect::kOpensHandle || Watched::kEffect == Effect::kOpensOnZero;
        if (g_watch.on && ((opens && opened) || Watched::kEffect == Effect::kEnters)) {
            ++g_watch.held;
        } else if (g_watch.on && Watched::kEffect == Effect::kCloses) {
            --g_watch.held;
        }
    }
};

// At namespace scope. The plain form lets Windows act, the second one after `note` has seen the
// arguments; with the others a function of the same type acts, or a constant is the result.
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

#define INTERPOSE(function, effect) \
    INTERPOSE_BY(function, effect,  \
                 (Windows<Watched_##function, decltype(function)>::Act(arguments...)))

#define INTERPOSE_NOTED(function, effect, note) \
    INTERPOSE_BY(                               \
        function, effect,                       \
        (note(arguments...), Windows<Watched_##function, decltype(function)>::Act(arguments...)))

#define INTERPOSE_GIVES(function, effect, result) \
    INTERPOSE_BY(function, effect, ((decltype(function(arguments...)))std::intptr_t{result}))
