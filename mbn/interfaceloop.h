// The loop over the mobile broadband interfaces, for all operations on the modem.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include "diagnostics/console.h"
#include "mbn/mbnapi.h"
#include "win32/uniquehandle.h"

// The result of the work on one element. If `go_on` is false, the loop ends.
struct StepResult {
    HRESULT result;
    bool go_on = true;
};

// Returns whether `result` is a success. If not, prints `message` without a line end.
inline bool SucceededOrPrint(HRESULT result, const wchar_t* message) {
    if (FAILED(result)) {
        ConsolePrint(L"%ls", message);
    }
    return SUCCEEDED(result);
}

// Calls `step`, a StepResult(Element&), for each element of the one-dimensional array. Skips
// elements that cannot be read, are null or do not have the interface `iid`. Releases each element
// before it reads the next one. The caller owns the array. Calls SafeArrayGetLBound,
// SafeArrayGetUBound and SafeArrayGetElement.
//
// Returns the result of the last call. `go_on` is false if `step` returned false, or if a bound
// cannot be read; then the message for that bound is printed.
template <typename Element, typename Step>
StepResult ForEachElement(SAFEARRAY* array,
                          REFIID iid,
                          const wchar_t* lower_bound_error,
                          const wchar_t* upper_bound_error,
                          Step step) {
    LONG lower = 0;
    StepResult last = {SafeArrayGetLBound(array, 1, &lower)};
    if (!SucceededOrPrint(last.result, lower_bound_error)) {
        return {last.result, false};
    }
    LONG upper = 0;
    last.result = SafeArrayGetUBound(array, 1, &upper);
    if (!SucceededOrPrint(last.result, upper_bound_error)) {
        return {last.result, false};
    }
    for (LONGLONG index = lower; index <= upper && last.go_on; ++index) {
        LONG position = static_cast<LONG>(index);
        ComPtr<IUnknown> unknown;
        last.result = SafeArrayGetElement(array, &position, unknown.put());
        if (FAILED(last.result) || !unknown) {
            continue;
        }
        ComPtr<Element> element;
        last.result = unknown->QueryInterface(iid, element.put_void());
        if (SUCCEEDED(last.result)) {
            last = step(*element.get());
        }
    }
    return last;
}

// Calls `step`, a StepResult(IMbnInterface&), for each mobile broadband interface. The calling
// thread must be in an apartment. If the list of interfaces cannot be read, prints a message:
// `manager_error` if the interface manager cannot be created. Returns the HRESULT of the last call.
// Releases all objects.
template <typename Step>
HRESULT ForEachInterfaceInApartment(const wchar_t* manager_error, Step step) {
    ComPtr<IMbnInterfaceManager> manager;
    HRESULT result = CoCreateInstance(CLSID_MbnInterfaceManager, nullptr, CLSCTX_ALL,
                                      IID_IMbnInterfaceManager, manager.put_void());
    if (!SucceededOrPrint(result, manager_error)) {
        return result;
    }
    SafeArray interfaces;
    result = manager->GetInterfaces(interfaces.put());
    if (!SucceededOrPrint(result, L"GetInterfaces error")) {
        return result;
    }
    return ForEachElement<IMbnInterface>(interfaces.get(), IID_IMbnInterface,
                                         L"SafeArrayGetLBound error", L"SafeArrayGetUBound error",
                                         step)
        .result;
}

// Does the same in a thread without an apartment: joins the multithreaded apartment and leaves it
// at the end.
template <typename Step>
HRESULT ForEachInterface(Step step) {
    const ComApartment apartment;
    // Kept: the spelling "Coinitialize". No message about the modem has a line end.
    if (!SucceededOrPrint(apartment.Result(), L"Coinitialize failed")) {
        return apartment.Result();
    }
    return ForEachInterfaceInApartment(L"CoCreateInstance error", step);
}
