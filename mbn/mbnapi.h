// The part of the Windows Mobile Broadband API that the service uses, because not every Windows
// header set has it. The names, the order of methods and the values are those of Windows. Methods
// that the service does not call are declared to keep the order.
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <unknwn.h>

inline constexpr GUID CLSID_MbnInterfaceManager = {
    0xBDFEE05B,
    0x4418,
    0x11DD,
    {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}};
inline constexpr GUID CLSID_MbnConnectionProfileManager = {
    0xBDFEE05A,
    0x4418,
    0x11DD,
    {0x90, 0xED, 0x00, 0x1C, 0x25, 0x7C, 0xCF, 0xF1}};

inline constexpr GUID IID_IMbnInterfaceManager = {0xDCBBBAB6,
                                                  0x201B,
                                                  0x4BBB,
                                                  {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
inline constexpr GUID IID_IMbnInterface = {0xDCBBBAB6,
                                           0x2001,
                                           0x4BBB,
                                           {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
inline constexpr GUID IID_IMbnConnectionProfileManager = {
    0xDCBBBAB6,
    0x200F,
    0x4BBB,
    {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};
inline constexpr GUID IID_IMbnConnectionProfile = {
    0xDCBBBAB6,
    0x2010,
    0x4BBB,
    {0xAA, 0xEE, 0x33, 0x8E, 0x36, 0x8A, 0xF6, 0xFA}};

enum MBN_READY_STATE : int {
    MBN_READY_STATE_OFF = 0,
    MBN_READY_STATE_INITIALIZED = 1,
    MBN_READY_STATE_SIM_NOT_INSERTED = 2,
    MBN_READY_STATE_BAD_SIM = 3,
    MBN_READY_STATE_FAILURE = 4,
    MBN_READY_STATE_NOT_ACTIVATED = 5,
    MBN_READY_STATE_DEVICE_LOCKED = 6,
    MBN_READY_STATE_DEVICE_BLOCKED = 7,
    MBN_READY_STATE_NO_ESIM_PROFILE = 8,
};

enum MBN_ACTIVATION_STATE : int {
    MBN_ACTIVATION_STATE_NONE = 0,
    MBN_ACTIVATION_STATE_ACTIVATED = 1,
    MBN_ACTIVATION_STATE_ACTIVATING = 2,
    MBN_ACTIVATION_STATE_DEACTIVATED = 3,
    MBN_ACTIVATION_STATE_DEACTIVATING = 4,
};

enum MBN_CONNECTION_MODE : int {
    MBN_CONNECTION_MODE_PROFILE = 0,
    MBN_CONNECTION_MODE_TMP_PROFILE = 1,
};

enum MBN_VOICE_CALL_STATE : int {
    MBN_VOICE_CALL_STATE_NONE = 0,
    MBN_VOICE_CALL_STATE_IN_PROGRESS = 1,
    MBN_VOICE_CALL_STATE_HANGUP = 2,
};

// The caller frees both strings if the call returned S_OK.
struct MBN_PROVIDER {
    BSTR providerID;
    ULONG providerState;
    BSTR providerName;
    ULONG dataClass;
};
static_assert(sizeof(MBN_PROVIDER) == 32);

// Only for a method that the service does not call.
struct MBN_INTERFACE_CAPS;

struct IMbnSubscriberInformation : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_SubscriberID(BSTR* subscriber_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_SimIccID(BSTR* sim_icc_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_TelephoneNumbers(SAFEARRAY** numbers) = 0;
};

struct IMbnConnection : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_ConnectionID(BSTR* connection_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* interface_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE Connect(MBN_CONNECTION_MODE mode,
                                              LPCWSTR profile,
                                              ULONG* request_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE Disconnect(ULONG* request_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectionState(MBN_ACTIVATION_STATE* state,
                                                         BSTR* profile_name) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVoiceCallState(MBN_VOICE_CALL_STATE* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetActivationNetworkError(ULONG* network_error) = 0;
};

struct IMbnInterface : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE get_InterfaceID(BSTR* interface_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterfaceCapability(MBN_INTERFACE_CAPS* caps) = 0;
    virtual HRESULT STDMETHODCALLTYPE
    GetSubscriberInformation(IMbnSubscriberInformation** information) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetReadyState(MBN_READY_STATE* state) = 0;
    virtual HRESULT STDMETHODCALLTYPE InEmergencyMode(VARIANT_BOOL* emergency_mode) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHomeProvider(MBN_PROVIDER* provider) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetPreferredProviders(SAFEARRAY** providers) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetPreferredProviders(SAFEARRAY* providers,
                                                            ULONG* request_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVisibleProviders(ULONG* age, SAFEARRAY** providers) = 0;
    virtual HRESULT STDMETHODCALLTYPE ScanNetwork(ULONG* request_id) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnection(IMbnConnection** connection) = 0;
};

struct IMbnInterfaceManager : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetInterface(LPCWSTR interface_id,
                                                   IMbnInterface** mbn_interface) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetInterfaces(SAFEARRAY** interfaces) = 0;
};

struct IMbnConnectionProfile : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetProfileXmlData(BSTR* document) = 0;
    virtual HRESULT STDMETHODCALLTYPE UpdateProfile(LPCWSTR document) = 0;
    virtual HRESULT STDMETHODCALLTYPE Delete() = 0;
};

struct IMbnConnectionProfileManager : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetConnectionProfiles(IMbnInterface* mbn_interface,
                                                            SAFEARRAY** profiles) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetConnectionProfile(IMbnInterface* mbn_interface,
                                                           LPCWSTR name,
                                                           IMbnConnectionProfile** profile) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateConnectionProfile(LPCWSTR document) = 0;
};
