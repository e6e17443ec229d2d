// The base of all COM objects of the simulated modem.
#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>

#include "simulator/modem/livecount.h"

// An object with one interface. It begins with one reference, and the last Release deletes it.
template <typename Interface, const GUID& interface_id = Interface::kId>
class ModemObject : public Interface {
 public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) final {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (!IsEqualGUID(iid, IID_IUnknown) && !IsEqualGUID(iid, interface_id)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        *object = static_cast<Interface*>(this);
        AddRef();
        return S_OK;
    }

    ULONG STDMETHODCALLTYPE AddRef() final { return ++m_references; }

    ULONG STDMETHODCALLTYPE Release() final {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

 protected:
    // Its vtable slots come after the slots of the interface.
    virtual ~ModemObject() = default;

 private:
    std::atomic<ULONG> m_references = 1;
    LiveCount m_live;
};
