// The bare server: a service with the same interface that only makes the Windows calls of a
// command. It serves kBareEndpoint. With any argument it runs as a console process until it is
// killed.
#include <windows.h>
#include <rpc.h>
#include <securitybaseapi.h>
#include <share.h>

#include <cstdio>
#include <cwchar>
#include <span>
#include <string>

#include "benchmark/barework.h"
#include "interface/endpoint.h"
#include "interface/tesselservice.h"
#include "mbn/mbnapi.h"
#include "usbpath/usbfnvalues.h"
#include "win32/rpctext.h"
#include "win32/uniquehandle.h"

namespace {

constexpr wchar_t kPenOptionKey[] = L"SOFTWARE\\Bramble\\BrambleSettings\\PenOption";
constexpr wchar_t kButtonAction[] = L"ButtonAction";

wchar_t g_name[] = L"Bare Server";

BareWork g_work = BareWork::kAnswer;
std::wstring g_document;

long ReadSetting() {
    RegistryKey key;
    DWORD value = 0;
    DWORD size = sizeof(value);
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, kPenOptionKey, 0, KEY_ALL_ACCESS, key.put());
    RegQueryValueExW(key.get(), kButtonAction, nullptr, nullptr, reinterpret_cast<BYTE*>(&value),
                     &size);
    return static_cast<long>(value);
}

void Store(const wchar_t* path, const wchar_t* name, DWORD type, const void* data, DWORD size) {
    RegistryKey key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_WRITE, nullptr, key.put(),
                    nullptr);
    RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data), size);
}

void Route(std::span<const UsbfnStep> steps) {
    for (const UsbfnStep& step : steps) {
        if (step.type == REG_NONE) {
            RegistryKey key;
            RegOpenKeyExW(HKEY_LOCAL_MACHINE, step.key_path, 0, KEY_ALL_ACCESS, key.put());
            RegDeleteValueW(key.get(), step.value_name);
        } else {
            Store(step.key_path, step.value_name, step.type, step.data, step.size);
        }
    }
}

// Reads the whole file and keeps nothing.
void ReadDocument(const wchar_t* path) {
    static thread_local char chunk[16384];
    std::FILE* file = _wfsopen(path, L"rt", _SH_DENYNO);
    while (std::fread(chunk, 1, sizeof(chunk), file) > 0) {
    }
    std::fclose(file);
}

// The text that the service sends for the file.
std::wstring DocumentText(const wchar_t* path) {
    std::wstring text;
    std::FILE* file = _wfsopen(path, L"rt", _SH_DENYNO);
    for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) {
        text += static_cast<wchar_t>(static_cast<signed char>(c));
    }
    std::fclose(file);
    return text.ends_with(L'\n') ? text : text + L'\n';
}

// Makes the calls of a query to a modem with one interface.
template <typename Ask>
void AskModem(Ask ask) {
    ComApartment apartment;
    ComPtr<IMbnInterfaceManager> manager;
    CoCreateInstance(CLSID_MbnInterfaceManager, nullptr, CLSCTX_ALL, IID_IMbnInterfaceManager,
                     manager.put_void());
    SafeArray interfaces;
    manager->GetInterfaces(interfaces.put());
    LONG lower = 0;
    LONG upper = 0;
    SafeArrayGetLBound(interfaces.get(), 1, &lower);
    SafeArrayGetUBound(interfaces.get(), 1, &upper);
    ComPtr<IUnknown> unknown;
    SafeArrayGetElement(interfaces.get(), &lower, unknown.put());
    ComPtr<IMbnInterface> mbn_interface;
    unknown->QueryInterface(IID_IMbnInterface, mbn_interface.put_void());
    ask(*mbn_interface.get());
}

RPC_STATUS Serve() {
    // The service makes this call too. Under Wine it loads a cryptographic library, and both
    // servers must use its memory.
    PSID* groups = nullptr;
    PSID* capabilities = nullptr;
    DWORD group_count = 0;
    DWORD capability_count = 0;
    DeriveCapabilitySidsFromName(L"bare", &groups, &group_count, &capabilities, &capability_count);

    RPC_STATUS status =
        RpcServerUseProtseqEpW(RpcText(kProtocolSequence), 10, RpcText(kBareEndpoint), nullptr);
    if (status == RPC_S_OK) {
        status = RpcServerRegisterIfEx(ServiceRpcInterface_v1_0_s_ifspec, nullptr, nullptr,
                                       RPC_IF_AUTOLISTEN, kConcurrentCalls, nullptr);
    }
    return status == RPC_S_OK ? RpcServerListen(1, kConcurrentCalls, FALSE) : status;
}

SERVICE_STATUS_HANDLE g_status = nullptr;

void Report(DWORD state) {
    SERVICE_STATUS status = {SERVICE_WIN32_OWN_PROCESS, state, SERVICE_ACCEPT_STOP, 0, 0, 0, 0};
    SetServiceStatus(g_status, &status);
}

void WINAPI ServiceMain(DWORD /*argc*/, wchar_t** /*argv*/) {
    g_status = RegisterServiceCtrlHandlerW(g_name, [](DWORD control) {
        if (control == SERVICE_CONTROL_STOP) {
            Report(SERVICE_STOPPED);
        }
    });
    Report(SERVICE_RUNNING);
    Serve();
}

}  // namespace

void RemoteOpen(handle_t /*binding*/, REQUEST_CONTEXT_HANDLE* context) {
    *context = &g_work;
}

void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    *context = nullptr;
}

void __RPC_USER REQUEST_CONTEXT_HANDLE_rundown(void* /*context*/) {}

void RemoteRequest(REQUEST_CONTEXT_HANDLE /*context*/,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string) {
    if (std::wcscmp(requestString, kChooseWork) == 0) {
        g_work = static_cast<BareWork>(data_int);
        if (g_work == BareWork::kSendDocument || g_work == BareWork::kReadAndSendDocument) {
            g_document = DocumentText(data_string);
        }
        return;
    }
    bool flag = data_bool != 0;
    wchar_t* text = data_string;
    switch (g_work) {
        case BareWork::kAnswer:
            break;
        case BareWork::kReadSetting:
            data_int = ReadSetting();
            break;
        case BareWork::kWriteSetting:
            Store(kPenOptionKey, kButtonAction, REG_DWORD, &data_int, sizeof(data_int));
            flag = true;
            break;
        case BareWork::kRouteToModem:
            Route(kCpSequence);
            break;
        case BareWork::kRouteToWindows:
            Route(kApSequence);
            break;
        case BareWork::kReadAndSendDocument:
            ReadDocument(data_string);
            text = g_document.data();
            break;
        case BareWork::kSendDocument:
            text = g_document.data();
            break;
        case BareWork::kReadyState:
            AskModem([&](IMbnInterface& mbn_interface) {
                MBN_READY_STATE state = MBN_READY_STATE_OFF;
                mbn_interface.GetReadyState(&state);
                data_int = state;
            });
            break;
        case BareWork::kSimIccId:
            AskModem([&](IMbnInterface& mbn_interface) {
                ComPtr<IMbnSubscriberInformation> information;
                mbn_interface.GetSubscriberInformation(information.put());
                Bstr id;
                information->get_SimIccID(id.put());
                std::wcscpy(data_string, id.get());
            });
            break;
    }
    ReportResult(const_cast<wchar_t*>(requestString), flag, data_int, text);
}

int wmain(int argc, wchar_t** /*argv*/) {
    if (argc > 1) {
        return Serve();
    }
    const SERVICE_TABLE_ENTRYW table[] = {{g_name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
