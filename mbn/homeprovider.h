// Ownership of a home provider's strings.
#pragma once

#include <utility>

#include "mbn/mbnapi.h"

// An MBN_PROVIDER, at first without strings, that frees its two strings with SysFreeString when the
// scope ends. A failing GetHomeProvider leaves nothing in it but null or a string that is the
// caller's.
struct HomeProvider : MBN_PROVIDER {
    HomeProvider() : MBN_PROVIDER{} {}
    ~HomeProvider() {
        SysFreeString(providerID);
        SysFreeString(providerName);
    }
    HomeProvider(const HomeProvider&) = delete;
    HomeProvider& operator=(const HomeProvider&) = delete;

    // Puts this provider into `other` and takes over the one that was there.
    void Exchange(MBN_PROVIDER& other) { std::swap(static_cast<MBN_PROVIDER&>(*this), other); }
};
