// The Mobile Broadband API for the simulated modem. Independent of the service's own declaration,
// so that tests find a wrong id or slot in one of them. Slots 0 to 2 belong to IUnknown. A slot
// that the modem does not implement returns E_NOTIMPL.
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <unknwn.h>

// The interface ids and the class ids, which differ only in one part.
constexpr GUID MbnInterfaceId(WORD part) {
    return {0xDCBBBAB6, part, 0x4BBB, {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
}

constexpr GUID MbnClassId(DWORD part) {
    return {part, 0x4418, 0x11DD, {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}};
}

inline constexpr GUID kProfileManagerClass = MbnClassId(0xBDFEE05A);
inline constexpr GUID kInterfaceManagerClass = MbnClassId(0xBDFEE05B);

#define MBN_SLOT virtual HRESULT STDMETHODCALLTYPE
#define MBN_LEFT_OUT(number)  \
    MBN_SLOT Slot##number() { \
        return E_NOTIMPL;     \
    }

struct MbnProvider {
    BSTR id;
    ULONG state;
    BSTR name;
    ULONG data_class;
};
static_assert(sizeof(MbnProvider) == 32);

struct MbnSubscriberInformation : IUnknown {
    static constexpr GUID kId = {0x459ECC43,
                                 0xBCF5,
                                 0x11DC,
                                 {0xA8, 0xA8, 0x00, 0x13, 0x21, 0xF1, 0x40, 0x5F}};
    MBN_SLOT get_SubscriberID(BSTR* out) = 0;  // 3
    MBN_SLOT get_SimIccID(BSTR* out) = 0;      // 4
    MBN_LEFT_OUT(5)
};

struct MbnConnection : IUnknown {
    static constexpr GUID kId = MbnInterfaceId(0x200D);
    MBN_LEFT_OUT(3)
    MBN_LEFT_OUT(4)
    MBN_SLOT Connect(int mode, LPCWSTR profile, ULONG* request_id) = 0;  // 5
    MBN_SLOT Disconnect(ULONG* request_id) = 0;                          // 6
    MBN_SLOT GetConnectionState(int* state, BSTR* profile_name) = 0;     // 7
    MBN_LEFT_OUT(8)
    MBN_LEFT_OUT(9)
};

struct MbnInterface : IUnknown {
    static constexpr GUID kId = MbnInterfaceId(0x2001);
    MBN_LEFT_OUT(3)
    MBN_LEFT_OUT(4)
    MBN_SLOT GetSubscriberInformation(MbnSubscriberInformation** out) = 0;  // 5
    MBN_SLOT GetReadyState(int* state) = 0;                                 // 6
    MBN_LEFT_OUT(7)
    MBN_SLOT GetHomeProvider(MbnProvider* provider) = 0;  // 8
    MBN_LEFT_OUT(9)
    MBN_LEFT_OUT(10)
    MBN_LEFT_OUT(11)
    MBN_LEFT_OUT(12)
    MBN_SLOT GetConnection(MbnConnection** out) = 0;  // 13
};

struct MbnInterfaceManager : IUnknown {
    static constexpr GUID kId = MbnInterfaceId(0x201B);
    MBN_LEFT_OUT(3)
    MBN_SLOT GetInterfaces(SAFEARRAY** interfaces) = 0;  // 4
};

struct MbnConnectionProfile : IUnknown {
    static constexpr GUID kId = MbnInterfaceId(0x2010);
    MBN_LEFT_OUT(3)
    MBN_LEFT_OUT(4)
    MBN_SLOT Delete() = 0;  // 5
};

struct MbnConnectionProfileManager : IUnknown {
    static constexpr GUID kId = MbnInterfaceId(0x200F);
    MBN_SLOT GetConnectionProfiles(MbnInterface* of, SAFEARRAY** profiles) = 0;  // 3
    MBN_LEFT_OUT(4)
    MBN_SLOT CreateConnectionProfile(LPCWSTR document) = 0;  // 5
};
