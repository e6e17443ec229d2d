// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// For a page of an app in C++/WinRT. The request runs on a thread of the pool. The thread of the
// user interface only shows the result.
#include <winrt/Windows.UI.Xaml.Controls.h>

#include "tesselclient.h"

winrt::fire_and_forget ShowScreenMode(winrt::Windows::UI::Xaml::Controls::TextBlock block) {
    const winrt::apartment_context interface_thread;
    co_await winrt::resume_background();
    const tessel::Client service(std::chrono::seconds(10));
    const tessel::Result<int> mode = service.GetScreenMode();
    co_await interface_thread;
    block.Text(mode.Ok() ? std::to_wstring(mode.value) : mode.Meaning());
}
