// A stand-in of the parts of C++/WinRT that docs/example/app.cpp uses.
#pragma once

#include <coroutine>
#include <string_view>

namespace winrt {

struct fire_and_forget {
    struct promise_type {
        fire_and_forget get_return_object() { return {}; }
        std::suspend_never initial_suspend() { return {}; }
        std::suspend_never final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() {}
    };
};
struct apartment_context {};
inline std::suspend_never operator co_await(const apartment_context& /*context*/) {
    return {};
}
inline std::suspend_never resume_background() {
    return {};
}

namespace Windows::UI::Xaml::Controls {

struct TextBlock {
    void Text(std::wstring_view text);
};

}  // namespace Windows::UI::Xaml::Controls

}  // namespace winrt
