// Memory of the security functions.
#pragma once

#include <windows.h>

#include "win32/uniqueresource.h"

struct SidTraits {
    using Type = PSID;
    static Type Empty() { return nullptr; }
    static void Close(Type sid) { FreeSid(sid); }
};

// A SID from AllocateAndInitializeSid, freed with FreeSid.
using AllocatedSid = UniqueResource<SidTraits>;

struct AclTraits {
    using Type = PACL;
    static Type Empty() { return nullptr; }
    static void Close(Type acl) { LocalFree(acl); }
};

// A list from SetEntriesInAclW, freed with LocalFree.
using LocalAcl = UniqueResource<AclTraits>;

struct LocalStringTraits {
    using Type = wchar_t*;
    static Type Empty() { return nullptr; }
    static void Close(Type text) { LocalFree(text); }
};

// A text from ConvertSidToStringSidW, freed with LocalFree.
using LocalString = UniqueResource<LocalStringTraits>;

// An array of SIDs from DeriveCapabilitySidsFromName: every SID and then the array are freed with
// LocalFree.
struct LocalSidArray {
    PSID* sids = nullptr;
    DWORD count = 0;

    LocalSidArray() = default;
    LocalSidArray(const LocalSidArray&) = delete;
    LocalSidArray& operator=(const LocalSidArray&) = delete;
    ~LocalSidArray() {
        if (sids == nullptr) {
            return;
        }
        for (DWORD i = 0; i < count; ++i) {
            LocalFree(sids[i]);
        }
        LocalFree(sids);
    }
};
