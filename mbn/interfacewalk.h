// The walk over the mobile broadband interfaces that every operation on the modem makes.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include "mbn/mbnapi.h"
#include "service/console.h"
#include "win32/uniquehandle.h"

// What the work on one element came to. `go_on` false ends it there, with the elements behind left
// out.
struct StepResult {
    HRESULT result;
    bool go_on = true;
};

// Prints `message`, without a line end, if `result` is a failure. Returns whether it is a success.
inline bool SucceededOrPrint(HRESULT result, const wchar_t* message) {
    if (FAILED(result)) {
        ConsolePrint(L"%ls", message);
    }
    return SUCCEEDED(result);
}

// Calls `step`, a StepResult(Element&), with every element of the array from the lower to the upper
// bound of its one dimension. An element that cannot be fetched or is not an `iid` object is passed
// over. The array stays the caller's, each element's reference is given up before the next one is
// fetched. Calls SafeArrayGetLBound, SafeArrayGetUBound and SafeArrayGetElement.
//
// The result is that of the last thing done, `go_on` false when a bound failed or the step said so.
// Prints the message of the bound that cannot be asked for.
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
        if (FAILED(last.result)) {
            continue;
        }
        last = step(*element.get());
    }
    return last;
}

// Calls `step`, a StepResult(IMbnInterface&), with every mobile broadband interface. The calling
// thread must be in an apartment. The first thing that fails prints its message, `manager_error`
// when the interface manager cannot be created, and ends the walk. Gives up everything it obtained
// and returns the HRESULT of the last thing done.
template <typename Step>
HRESULT WalkInterfacesInApartment(const wchar_t* manager_error, Step step) {
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

// The same for a thread of no apartment: it is in the multithreaded one for the length of the walk.
template <typename Step>
HRESULT WalkInterfaces(Step step) {
    ComApartment apartment;
    // Kept: the spelling, here and in the profiles; and no message has a line end.
    if (!SucceededOrPrint(apartment.Result(), L"Coinitialize failed")) {
        return apartment.Result();
    }
    return WalkInterfacesInApartment(L"CoCreateInstance error", step);
}
