// The DLL's entry points as a COM server.
#include <windows.h>
#include <objbase.h>
#include <olectl.h>

#include <atomic>
#include <iterator>
#include <string>

#include "simulator/modem/livecount.h"
#include "simulator/modem/mobilebroadband.h"
#include "simulator/modem/modemobject.h"
#include "simulator/modem/modemobjects.h"
#include "win32/uniquehandle.h"

namespace {

struct ModemClass {
    const GUID& id;
    HRESULT (*create)(REFIID iid, void** object);
};

constexpr ModemClass kClasses[] = {
    {kInterfaceManagerClass, CreateInterfaceManager},
    {kProfileManagerClass, CreateProfileManager},
};

std::atomic<LONG> g_serverLocks = 0;

class ClassFactory final : public ModemObject<IClassFactory, IID_IClassFactory> {
 public:
    explicit ClassFactory(const ModemClass& modem_class) : m_class(modem_class) {}

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override {
        if (outer != nullptr) {
            *object = nullptr;
            return CLASS_E_NOAGGREGATION;
        }
        return m_class.create(iid, object);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
        g_serverLocks += lock ? 1 : -1;
        return S_OK;
    }

 private:
    const ModemClass& m_class;
};

// Returns the handle of this DLL. With GET_MODULE_HANDLE_EX_FLAG_PIN the DLL stays loaded.
HMODULE OwnModule(DWORD flag) {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | flag,
                       reinterpret_cast<const wchar_t*>(&OwnModule), &module);
    return module;
}

std::wstring ClassKey(const GUID& id) {
    wchar_t text[40] = {};
    StringFromGUID2(id, text, static_cast<int>(std::size(text)));
    return std::wstring(L"SOFTWARE\\Classes\\CLSID\\") + text;
}

LSTATUS SetText(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, REG_SZ, text.c_str(),
                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

}  // namespace

STDAPI DllGetClassObject(REFCLSID class_id, REFIID iid, void** object) {
    *object = nullptr;
    // COM would unload the DLL after every request, and Wine loses some memory each time.
    OwnModule(GET_MODULE_HANDLE_EX_FLAG_PIN);
    for (const ModemClass& known : kClasses) {
        if (IsEqualGUID(class_id, known.id)) {
            ComPtr<ClassFactory> factory(new ClassFactory(known));
            return factory->QueryInterface(iid, object);
        }
    }
    return CLASS_E_CLASSNOTAVAILABLE;
}

STDAPI DllCanUnloadNow() {
    return SimulatedModemLiveObjects() == 0 && g_serverLocks == 0 ? S_OK : S_FALSE;
}

STDAPI DllRegisterServer() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(OwnModule(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT), path, MAX_PATH);
    for (const ModemClass& known : kClasses) {
        const std::wstring key = ClassKey(known.id) + L"\\InprocServer32";
        if (SetText(key, nullptr, path) != ERROR_SUCCESS ||
            SetText(key, L"ThreadingModel", L"Both") != ERROR_SUCCESS) {
            return SELFREG_E_CLASS;
        }
    }
    return S_OK;
}

STDAPI DllUnregisterServer() {
    for (const ModemClass& known : kClasses) {
        const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey(known.id).c_str());
        if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
            return SELFREG_E_CLASS;
        }
    }
    return S_OK;
}
